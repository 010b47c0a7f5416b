#include "AppCommand.h"

#include <google/protobuf/text_format.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <iterator>
#include <sstream>

using namespace quelby::protocol;
using google::protobuf::Message;
using google::protobuf::TextFormat;

namespace {

struct TCommand;
using TBuild = int (*)(const TCommand& command, const std::vector<std::string>& args, TAppRequest& out,
                       std::string& error);

int buildParameter(const TCommand& command, const std::vector<std::string>& args, TAppRequest& out, std::string& error);

// A request: its words, message id, body (nullptr: none) and the message id
// of its answer (0: none comes).
struct TCommand {
    const char* words;
    uint32_t messageId;
    const Message* body;
    uint32_t answerId;
    const char* help;
    // The first field defaults to now, in units of this many milliseconds,
    // and every argument may be left out; 0: every one is needed.
    int64_t nowUnitMs = 0;
    const char* usage = nullptr; // nullptr: the body's field names
    TBuild build = nullptr;      // nullptr: the arguments fill the body's fields
};

const Message* const NEST = &NestCommand::default_instance();
const Message* const PARAMETER = &ParameterInt32::default_instance();
const Message* const PARAMETERS = &DroneParamMessageRequest::default_instance();

const TCommand s_commands[] = {
    {"get-param", PARAM_GET_MSG, PARAMETERS, PARAM_GET_MSG, "PARAMETER: a ParameterType name or number", 0,
     "gimbal-speed|rocker-mode|PARAMETER", buildParameter},
    {"set-param", PARAM_SET_MSG, PARAMETERS, PARAM_SET_MSG,
     "the gateway serves only the gimbal speed and the rocker mode", 0, "gimbal-speed|rocker-mode|PARAMETER VALUE",
     buildParameter},
    {"calibration enter", RC_ENTER_CALIBRATION_MSG, nullptr, RC_ENTER_CALIBRATION_MSG, "start the sticks' calibration"},
    {"calibration exit", RC_EXIT_CALIBRATION_MSG, nullptr, RC_EXIT_CALIBRATION_MSG, "end it"},
    {"hardware-state", RC_START_HARDWARE_STATE_NTFY_MSG, PARAMETER, RC_START_HARDWARE_STATE_NTFY_MSG,
     "switch the RC's stick state upload (1 on, 0 off)"},
    {"system-time", RC_SYSTEM_TIME_MSG, &SystemTimeInfo::default_instance(), RC_SYSTEM_TIME_MSG,
     "RC clock (default: now, in seconds, time zone 0)", 1000},
    {"utc-time-sync", DRONE_UTC_TIME_SYNC_NTFY, &DroneUTCTimeSync::default_instance(), 0,
     "drone UTC time (default: now, in ms)", 1},
    {"device-info", RC_QUERY_DEVICE_INFO_MSG, nullptr, RC_HARDWARE_BUTTON_INFO_NTFY,
     "the RC's versions (answered under the button-event id)"},
    {"pair", AIRLINK_START_MATCHING_MSG, nullptr, AIRLINK_START_MATCHING_MSG,
     "start pairing (--follow MS also shows the progress reports)"},
    {"quick-match choose", RC_QUICK_MATCH_CHOOSE_CONNECT_MSG, PARAMETER, 0, "choose a quick-match connection"},
    {"quick-match clear-blacklist", RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG, nullptr, 0, "clear the quick-match blacklist"},
    {"nest cabin", NEST_CABIN_CONTROL_MSG, NEST, NEST_CABIN_CONTROL_MSG, "hatch (cabin) control"},
    {"nest xrod", NEST_XROD_CONTROL_MSG, NEST, NEST_XROD_CONTROL_MSG, "X rod control"},
    {"nest yrod", NEST_YROD_CONTROL_MSG, NEST, NEST_YROD_CONTROL_MSG, "Y rod control"},
    {"nest zrod", NEST_ZROD_CONTROL_MSG, NEST, NEST_ZROD_CONTROL_MSG, "Z rod control"},
    {"nest charge", NEST_CHARGE_CONTROL_MSG, NEST, NEST_CHARGE_CONTROL_MSG, "drone charging"},
    {"nest reset", NEST_RESET_MSG, &NestResetCommand::default_instance(), NEST_RESET_MSG, "system reset"},
    {"nest calibration", NEST_CALIBRATION_OPERATION_MSG, &NestCalibrateOperation::default_instance(),
     NEST_CALIBRATION_OPERATION_MSG, "calibration operation"},
    {"nest single-calibration", NEST_SINGLE_CALIBRATION_MSG, &NestSingleCalibration::default_instance(),
     NEST_SINGLE_CALIBRATION_MSG, "single component calibration"},
    {"nest system-config", NEST_SYSTEM_CONFIG_MSG, &NestSystemConfig::default_instance(), NEST_SINGLE_CALIBRATION_MSG,
     "system configuration (answered under the single-calibration id)"},
    {"nest turn-on-off", NEST_TURN_ON_OFF_MSG, NEST, NEST_TURN_ON_OFF_MSG, "drone power"},
    {"nest ac", NEST_AC_CONTROL_MSG, NEST, NEST_AC_CONTROL_MSG, "air conditioner"},
    {"nest scram", NEST_SCRAM_CONTROL_MSG, NEST, NEST_SCRAM_CONTROL_MSG, "emergency stop"},
    {"nest auto", NEST_AUTO_COMMAND_MSG, NEST, NEST_AUTO_COMMAND_MSG, "automatic task"},
    {"nest motor-to-zero", NEST_MOTOR_TO_ZERO_MSG, NEST, NEST_MOTOR_TO_ZERO_MSG, "motors to zero position"},
    {"nest wait-time", NEST_RETURN_WAIT_TIME_MSG, &NestWaitTime::default_instance(), NEST_RETURN_WAIT_TIME_MSG,
     "return wait time"},
    {"nest virtual-stick", NEST_VIRTUAL_POLE_STATUS_NTFY, &NestVirtualPoleStateNtfy::default_instance(), 0,
     "virtual stick positions"},
};

std::vector<std::string> split(const std::string& text)
{
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

// " NESTTYPE NESTACTION", or " [A [B]]" when every argument may be left out.
std::string usageOf(const TCommand& command)
{
    if (command.usage != nullptr) {
        return std::string(" ") + command.usage;
    }
    const int count = command.body != nullptr ? command.body->GetDescriptor()->field_count() : 0;
    std::string usage;
    for (int i = 0; i < count; ++i) {
        std::string name = command.body->GetDescriptor()->field(i)->name();
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return toupper(c); });
        usage += command.nowUnitMs != 0 ? " [" + name : " " + name;
    }
    return usage + std::string(command.nowUnitMs != 0 ? static_cast<size_t>(count) : 0, ']');
}

// Sets field i of the body from args[i] (a text format value).
int fillFields(Message& body, const std::vector<std::string>& args, std::string& error)
{
    for (size_t i = 0; i < args.size(); ++i) {
        const google::protobuf::FieldDescriptor* field = body.GetDescriptor()->field(static_cast<int>(i));
        if (!TextFormat::ParseFieldValueFromString(args[i], field, &body)) {
            error = "'" + args[i] + "' is not a valid " + field->name();
            return -1;
        }
    }
    return 0;
}

// PARAMETER [VALUE]: "gimbal-speed", "rocker-mode", or a ParameterType name
// or number; the value is an int32 in the parameter's data.
int buildParameter(const TCommand& command, const std::vector<std::string>& args, TAppRequest& out, std::string& error)
{
    const std::string usage = std::string("usage: ") + command.words + usageOf(command);
    const bool set = command.messageId == PARAM_SET_MSG;
    if (args.size() != (set ? 2u : 1u)) {
        error = usage;
        return -1;
    }
    auto* request = new DroneParamMessageRequest();
    out.body.reset(request);
    DroneParamsRequest* param = request->add_params_list();
    param->set_param_type(INT32);
    const std::string name = args[0] == "gimbal-speed"  ? "GIMBAL_PITCH_SPEED_MSG"
                             : args[0] == "rocker-mode" ? "RC_ROCKER_CONTROL_MODE_MSG"
                                                        : args[0];
    if (!TextFormat::ParseFieldValueFromString(name, DroneParamsRequest::descriptor()->field(0), param)) {
        error = "'" + args[0] + "' is not a parameter; " + usage;
        return -1;
    }
    ParameterInt32 value;
    if (set && !TextFormat::ParseFieldValueFromString(args[1], ParameterInt32::descriptor()->field(0), &value)) {
        error = "'" + args[1] + "' is not a 32-bit integer value; " + usage;
        return -1;
    }
    value.SerializeToString(param->mutable_data()->mutable_value());
    return 0;
}

} // namespace

void CAppCommand::printCommands(FILE* out)
{
    fprintf(out, "commands (each waits for the answer that carries its sequence, unless none comes):\n");
    for (const TCommand& command : s_commands) {
        const std::string words = command.words + usageOf(command);
        fprintf(out, "  %-20s%s %s%s\n", words.c_str(), words.size() > 20 ? "\n                      " : "",
                command.help, command.answerId == 0 ? "; no answer" : "");
    }
    fprintf(out, "  %-20s print every message from the gateway (--duration, --count)\n", "listen");
}

int CAppCommand::build(const std::vector<std::string>& words, TAppRequest& out, std::string& error)
{
    bool known = false; // the first word begins a command
    for (const TCommand& command : s_commands) {
        const std::vector<std::string> own = split(command.words);
        known = known || own.front() == words.front();
        if (words.size() < own.size() || !std::equal(own.begin(), own.end(), words.begin())) {
            continue;
        }
        const std::vector<std::string> args(words.begin() + static_cast<long>(own.size()), words.end());
        out.messageId = command.messageId;
        out.answerId = command.answerId;
        if (command.build != nullptr) {
            return command.build(command, args, out, error);
        }
        const std::string usage = std::string("usage: ") + command.words + usageOf(command);
        const size_t fields =
            command.body != nullptr ? static_cast<size_t>(command.body->GetDescriptor()->field_count()) : 0;
        if (args.size() > fields || (command.nowUnitMs == 0 && args.size() != fields)) {
            error = usage;
            return -1;
        }
        if (command.body == nullptr) {
            return 0;
        }
        out.body.reset(command.body->New());
        if (command.nowUnitMs != 0) {
            const auto now = std::chrono::system_clock::now().time_since_epoch();
            const int64_t nowMs = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
            TextFormat::ParseFieldValueFromString(std::to_string(nowMs / command.nowUnitMs),
                                                  out.body->GetDescriptor()->field(0), out.body.get());
        }
        if (fillFields(*out.body, args, error) != 0) {
            error += "; " + usage;
            return -1;
        }
        return 0;
    }
    if (!known) {
        error = "unknown command '" + words.front() + "' (see lumbrix-sim app --help)";
    } else if (words.size() == 1) {
        error = "usage: " + words.front() + " COMMAND ... (see lumbrix-sim app --help)";
    } else {
        error = "'" + words[1] + "' is not a " + words.front() + " command (see lumbrix-sim app --help)";
    }
    return -1;
}

const Message* CAppCommand::requestBody(uint32_t messageId)
{
    for (const TCommand& command : s_commands) {
        if (command.messageId == messageId) {
            return command.body;
        }
    }
    return nullptr;
}
