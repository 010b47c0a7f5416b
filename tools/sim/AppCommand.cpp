#include "AppCommand.h"

#include <cctype>
#include <chrono>
#include <limits>

#include "SimArgs.h"

using namespace quelby::protocol;
using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;

namespace {

struct TNestCommand {
    const char* word;
    uint32_t messageId;
    const Message* prototype;
    const char* meaning;
};

const TNestCommand s_nestCommands[] = {
    {"cabin", NEST_CABIN_CONTROL_MSG, &NestCommand::default_instance(), "hatch (cabin) control"},
    {"xrod", NEST_XROD_CONTROL_MSG, &NestCommand::default_instance(), "X rod control"},
    {"yrod", NEST_YROD_CONTROL_MSG, &NestCommand::default_instance(), "Y rod control"},
    {"zrod", NEST_ZROD_CONTROL_MSG, &NestCommand::default_instance(), "Z rod control"},
    {"charge", NEST_CHARGE_CONTROL_MSG, &NestCommand::default_instance(), "drone charging"},
    {"reset", NEST_RESET_MSG, &NestResetCommand::default_instance(), "system reset"},
    {"calibration", NEST_CALIBRATION_OPERATION_MSG, &NestCalibrateOperation::default_instance(),
     "calibration operation"},
    {"single-calibration", NEST_SINGLE_CALIBRATION_MSG, &NestSingleCalibration::default_instance(),
     "single component calibration"},
    {"system-config", NEST_SYSTEM_CONFIG_MSG, &NestSystemConfig::default_instance(), "system configuration"},
    {"turn-on-off", NEST_TURN_ON_OFF_MSG, &NestCommand::default_instance(), "drone power"},
    {"ac", NEST_AC_CONTROL_MSG, &NestCommand::default_instance(), "air conditioner"},
    {"scram", NEST_SCRAM_CONTROL_MSG, &NestCommand::default_instance(), "emergency stop"},
    {"auto", NEST_AUTO_COMMAND_MSG, &NestCommand::default_instance(), "automatic task"},
    {"motor-to-zero", NEST_MOTOR_TO_ZERO_MSG, &NestCommand::default_instance(), "motors to zero position"},
    {"wait-time", NEST_RETURN_WAIT_TIME_MSG, &NestWaitTime::default_instance(), "return wait time"},
    {"virtual-stick", NEST_VIRTUAL_POLE_STATUS_NTFY, &NestVirtualPoleStateNtfy::default_instance(),
     "virtual stick positions (no answer)"},
};

// "NESTTYPE NESTACTION": the body's fields in declaration order.
std::string fieldUsage(const Descriptor& descriptor, bool optional)
{
    std::string usage;
    for (int i = 0; i < descriptor.field_count(); ++i) {
        std::string name = descriptor.field(i)->name();
        for (char& c : name) {
            c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
        }
        usage += optional ? " [" + name : " " + name;
    }
    if (optional) {
        usage += std::string(static_cast<size_t>(descriptor.field_count()), ']');
    }
    return usage;
}

// Sets the body's integer fields, in declaration order, from args.
int fillFields(Message& body, const std::vector<std::string>& args, std::string& error)
{
    const Descriptor* descriptor = body.GetDescriptor();
    const google::protobuf::Reflection* reflection = body.GetReflection();
    if (static_cast<int>(args.size()) > descriptor->field_count()) {
        error = "too many arguments";
        return -1;
    }
    for (size_t i = 0; i < args.size(); ++i) {
        const FieldDescriptor* field = descriptor->field(static_cast<int>(i));
        int64_t value = 0;
        bool ok = false;
        switch (field->cpp_type()) {
        case FieldDescriptor::CPPTYPE_INT32:
            ok = CSimArgs::parseInt(args[i], std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(),
                                    value);
            if (ok) {
                reflection->SetInt32(&body, field, static_cast<int32_t>(value));
            }
            break;
        case FieldDescriptor::CPPTYPE_INT64:
            ok = CSimArgs::parseInt(args[i], std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(),
                                    value);
            if (ok) {
                reflection->SetInt64(&body, field, value);
            }
            break;
        case FieldDescriptor::CPPTYPE_UINT64:
            ok = CSimArgs::parseInt(args[i], 0, std::numeric_limits<int64_t>::max(), value);
            if (ok) {
                reflection->SetUInt64(&body, field, static_cast<uint64_t>(value));
            }
            break;
        default:
            break;
        }
        if (!ok) {
            error = "'" + args[i] + "' is not a valid " + field->name();
            return -1;
        }
    }
    return 0;
}

int64_t unixMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// "gimbal-speed", "rocker-mode", a ParameterType name or number.
bool parseParameter(const std::string& word, ParameterType& out)
{
    if (word == "gimbal-speed") {
        out = GIMBAL_PITCH_SPEED_MSG;
        return true;
    }
    if (word == "rocker-mode") {
        out = RC_ROCKER_CONTROL_MODE_MSG;
        return true;
    }
    if (ParameterType_Parse(word, &out)) {
        return true;
    }
    int64_t number = 0;
    if (CSimArgs::parseInt(word, 0, std::numeric_limits<int32_t>::max(), number)) {
        out = static_cast<ParameterType>(number);
        return true;
    }
    return false;
}

int buildParameter(const std::vector<std::string>& words, bool set, TAppRequest& out, std::string& error)
{
    const std::string usage = set ? "usage: set-param gimbal-speed|rocker-mode|PARAMETER VALUE"
                                  : "usage: get-param gimbal-speed|rocker-mode|PARAMETER";
    if (words.size() != (set ? 3u : 2u)) {
        error = usage;
        return -1;
    }
    ParameterType parameter = PARAMETER_TYPE_UNKNOW;
    if (!parseParameter(words[1], parameter)) {
        error = "'" + words[1] + "' is not a parameter; " + usage;
        return -1;
    }
    int64_t value = 0;
    if (set && !CSimArgs::parseInt(words[2], std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(),
                                   value)) {
        error = "'" + words[2] + "' is not a 32-bit integer value; " + usage;
        return -1;
    }
    ParameterInt32 parameterValue;
    parameterValue.set_value(static_cast<int32_t>(value));
    auto* request = new DroneParamMessageRequest();
    DroneParamsRequest* element = request->add_params_list();
    element->set_param_id(parameter);
    element->set_param_type(INT32);
    parameterValue.SerializeToString(element->mutable_data()->mutable_value());
    out.body.reset(request);
    out.messageId = set ? PARAM_SET_MSG : PARAM_GET_MSG;
    out.answerId = out.messageId;
    return 0;
}

int buildNest(const std::vector<std::string>& words, TAppRequest& out, std::string& error)
{
    if (words.size() < 2) {
        error = "usage: nest COMMAND ARGUMENTS (see lumbrix-sim app --help)";
        return -1;
    }
    for (const TNestCommand& command : s_nestCommands) {
        if (words[1] != command.word) {
            continue;
        }
        const Descriptor& descriptor = *command.prototype->GetDescriptor();
        const std::string usage = std::string("usage: nest ") + command.word + fieldUsage(descriptor, false);
        const std::vector<std::string> args(words.begin() + 2, words.end());
        if (static_cast<int>(args.size()) != descriptor.field_count()) {
            error = usage;
            return -1;
        }
        out.body.reset(command.prototype->New());
        if (fillFields(*out.body, args, error) != 0) {
            error += "; " + usage;
            return -1;
        }
        out.messageId = command.messageId;
        // The nest's system-config answer comes under the single-calibration id.
        out.answerId = command.messageId == NEST_SYSTEM_CONFIG_MSG ? static_cast<uint32_t>(NEST_SINGLE_CALIBRATION_MSG)
                                                                   : command.messageId;
        if (command.messageId == NEST_VIRTUAL_POLE_STATUS_NTFY) {
            out.expectAnswer = false;
            out.noAnswerNote = "stick positions are relayed to the nest without an answer";
        }
        return 0;
    }
    error = "'" + words[1] + "' is not a nest command (see lumbrix-sim app --help)";
    return -1;
}

// A command whose body is filled from optional arguments over defaults.
int buildWithDefaults(const std::vector<std::string>& words, Message* body, const std::string& usage, TAppRequest& out,
                      std::string& error)
{
    out.body.reset(body);
    const std::vector<std::string> args(words.begin() + 1, words.end());
    if (fillFields(*body, args, error) != 0) {
        error += "; " + usage;
        return -1;
    }
    return 0;
}

int buildQuickMatch(const std::vector<std::string>& words, TAppRequest& out, std::string& error)
{
    const char* usage = "usage: quick-match choose INDEX | quick-match clear-blacklist";
    out.expectAnswer = false;
    out.noAnswerNote = "the gateway forwards quick-match commands without an answer";
    if (words.size() == 3 && words[1] == "choose") {
        int64_t index = 0;
        if (!CSimArgs::parseInt(words[2], std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(),
                                index)) {
            error = "'" + words[2] + "' is not an index; " + usage;
            return -1;
        }
        auto* body = new ParameterInt32();
        body->set_value(static_cast<int32_t>(index));
        out.body.reset(body);
        out.messageId = RC_QUICK_MATCH_CHOOSE_CONNECT_MSG;
        return 0;
    }
    if (words.size() == 2 && words[1] == "clear-blacklist") {
        out.messageId = RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG;
        return 0;
    }
    error = usage;
    return -1;
}

} // namespace

void CAppCommand::printCommands(FILE* out)
{
    fprintf(out,
            "commands (each waits for the answer that carries its sequence):\n"
            "  get-param gimbal-speed|rocker-mode|PARAMETER\n"
            "  set-param gimbal-speed|rocker-mode|PARAMETER VALUE\n"
            "                       PARAMETER: a ParameterType name or number (the gateway\n"
            "                       serves only the two named ones)\n"
            "  calibration enter|exit\n"
            "  hardware-state VALUE  switch the RC's stick state upload (1 on, 0 off)\n"
            "  system-time%s\n"
            "                       RC clock (default: now, in seconds, time zone 0)\n"
            "  utc-time-sync%s\n"
            "                       drone UTC time (default: now, in ms); no answer\n"
            "  device-info          the RC's versions\n"
            "  pair                 start pairing (--follow MS also shows the progress reports)\n"
            "  quick-match choose INDEX | quick-match clear-blacklist   no answer\n",
            fieldUsage(*SystemTimeInfo::descriptor(), true).c_str(),
            fieldUsage(*DroneUTCTimeSync::descriptor(), true).c_str());
    for (const TNestCommand& command : s_nestCommands) {
        const std::string words =
            std::string("nest ") + command.word + fieldUsage(*command.prototype->GetDescriptor(), false);
        fprintf(out, "  %s\n                       %s\n", words.c_str(), command.meaning);
    }
    fprintf(out, "  listen               print every message from the gateway (--duration, --count)\n");
}

int CAppCommand::build(const std::vector<std::string>& words, TAppRequest& out, std::string& error)
{
    const std::string& command = words.front();
    if (command == "get-param" || command == "set-param") {
        return buildParameter(words, command == "set-param", out, error);
    }
    if (command == "nest") {
        return buildNest(words, out, error);
    }
    if (command == "quick-match") {
        return buildQuickMatch(words, out, error);
    }
    if (command == "calibration") {
        if (words.size() != 2 || (words[1] != "enter" && words[1] != "exit")) {
            error = "usage: calibration enter|exit";
            return -1;
        }
        out.messageId = words[1] == "enter" ? RC_ENTER_CALIBRATION_MSG : RC_EXIT_CALIBRATION_MSG;
        out.answerId = out.messageId;
        return 0;
    }
    if (command == "hardware-state") {
        out.messageId = RC_START_HARDWARE_STATE_NTFY_MSG;
        out.answerId = out.messageId;
        if (words.size() != 2) {
            error = "usage: hardware-state VALUE";
            return -1;
        }
        return buildWithDefaults(words, new ParameterInt32(), "usage: hardware-state VALUE", out, error);
    }
    if (command == "system-time") {
        auto* body = new SystemTimeInfo();
        body->set_utctimeinterval(unixMs() / 1000);
        out.messageId = RC_SYSTEM_TIME_MSG;
        out.answerId = out.messageId;
        return buildWithDefaults(words, body, "usage: system-time" + fieldUsage(*body->GetDescriptor(), true), out,
                                 error);
    }
    if (command == "utc-time-sync") {
        auto* body = new DroneUTCTimeSync();
        body->set_gps_time(static_cast<uint64_t>(unixMs()));
        out.messageId = DRONE_UTC_TIME_SYNC_NTFY;
        out.expectAnswer = false;
        out.noAnswerNote = "the drone's UTC time is forwarded without an answer";
        return buildWithDefaults(words, body, "usage: utc-time-sync" + fieldUsage(*body->GetDescriptor(), true), out,
                                 error);
    }
    if (command == "device-info" || command == "pair") {
        if (words.size() != 1) {
            error = "usage: " + command + " (no arguments)";
            return -1;
        }
        out.messageId = command == "pair" ? AIRLINK_START_MATCHING_MSG : RC_QUERY_DEVICE_INFO_MSG;
        // The device-info answer comes under the button-event id.
        out.answerId = command == "pair" ? AIRLINK_START_MATCHING_MSG : RC_HARDWARE_BUTTON_INFO_NTFY;
        return 0;
    }
    error = "unknown command '" + command + "' (see lumbrix-sim app --help)";
    return -1;
}
