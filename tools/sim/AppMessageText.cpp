#include "AppMessageText.h"

#include <google/protobuf/text_format.h>

#include <memory>
#include <sstream>

using namespace quelby::protocol;
using google::protobuf::Message;

namespace {

struct TBodyType {
    uint32_t messageId;
    const Message* prototype;
};

// Bodies of App requests and notifications to the radio side.
const TBodyType s_requestBodies[] = {
    {PARAM_GET_MSG, &DroneParamMessageRequest::default_instance()},
    {PARAM_SET_MSG, &DroneParamMessageRequest::default_instance()},
    {RC_START_HARDWARE_STATE_NTFY_MSG, &ParameterInt32::default_instance()},
    {RC_QUICK_MATCH_CHOOSE_CONNECT_MSG, &ParameterInt32::default_instance()},
    {RC_SYSTEM_TIME_MSG, &SystemTimeInfo::default_instance()},
    {DRONE_UTC_TIME_SYNC_NTFY, &DroneUTCTimeSync::default_instance()},
    {NEST_CABIN_CONTROL_MSG, &NestCommand::default_instance()},
    {NEST_XROD_CONTROL_MSG, &NestCommand::default_instance()},
    {NEST_YROD_CONTROL_MSG, &NestCommand::default_instance()},
    {NEST_ZROD_CONTROL_MSG, &NestCommand::default_instance()},
    {NEST_CHARGE_CONTROL_MSG, &NestCommand::default_instance()},
    {NEST_RESET_MSG, &NestResetCommand::default_instance()},
    {NEST_CALIBRATION_OPERATION_MSG, &NestCalibrateOperation::default_instance()},
    {NEST_SINGLE_CALIBRATION_MSG, &NestSingleCalibration::default_instance()},
    {NEST_SYSTEM_CONFIG_MSG, &NestSystemConfig::default_instance()},
    {NEST_TURN_ON_OFF_MSG, &NestCommand::default_instance()},
    {NEST_AC_CONTROL_MSG, &NestCommand::default_instance()},
    {NEST_SCRAM_CONTROL_MSG, &NestCommand::default_instance()},
    {NEST_AUTO_COMMAND_MSG, &NestCommand::default_instance()},
    {NEST_MOTOR_TO_ZERO_MSG, &NestCommand::default_instance()},
    {NEST_RETURN_WAIT_TIME_MSG, &NestWaitTime::default_instance()},
    {NEST_VIRTUAL_POLE_STATUS_NTFY, &NestVirtualPoleStateNtfy::default_instance()},
};

// Bodies of reports and events from the gateway (no RspMessage around them).
const TBodyType s_reportBodies[] = {
    {RC_HARDWARE_STATE_NTFY, &RCHardwareStateNtfy::default_instance()},
    {RC_HARDWARE_BUTTON_INFO_NTFY, &RCHardwareButtonInfoNtfy::default_instance()},
    {RC_STATE_NTFY, &RCStateNtfy::default_instance()},
    {RC_ROCKER_CALIBRATION_STATE_NTFY, &RockerCalibrationStateNtfy::default_instance()},
    {AIRLINK_MATCHING_STATUS_NTFY, &ParameterInt32::default_instance()},
    {NEST_STATUS_INFO_NTFY, &NestStatusInfoNtfy::default_instance()},
    {NEST_BATTERY_DYNAMIC_STATUS_NTFY, &NestBatteryDynamicStatusNtfy::default_instance()},
    {NEST_BATTERY_STATIC_STATUS_NTFY, &NestBatteryStaticStatusNtfy::default_instance()},
    {NEST_BACKUP_BATTERY_STATUS_NTFY, &NestBackupBatteryStatusNtfy::default_instance()},
    {NEST_MOTOR_DRIVER_STATUS_NTFY, &NestMotorDriverStatusNtfy::default_instance()},
    {ZROD_READY_STATUS_NTFY, &ZrodReadyStatusNtfy::default_instance()},
    {NEST_SYSTEM_SELF_CHECK_NTFY, &NestSystemSelfCheckNtfy::default_instance()},
    {NEST_AUTO_COMMAND_FINISH_NTFY, &NestAutoCommandFinishNtfy::default_instance()},
    {TRANSMIT_HEARTBEAT_NTFY, &TransmitHeartbeatNtfy::default_instance()},
};

// What an answer's RspMessage.data holds. The device-info answer comes
// under the button-event id.
const TBodyType s_answerData[] = {
    {PARAM_GET_MSG, &DroneParamMessageResponse::default_instance()},
    {PARAM_SET_MSG, &DroneParamMessageResponse::default_instance()},
    {RC_HARDWARE_BUTTON_INFO_NTFY, &DroneVersionInfo::default_instance()},
};

template <size_t N>
const Message* find(const TBodyType (&table)[N], uint32_t messageId)
{
    for (const TBodyType& row : table) {
        if (row.messageId == messageId) {
            return row.prototype;
        }
    }
    return nullptr;
}

void appendBlock(std::string& out, const std::string& label, const Message& message)
{
    google::protobuf::TextFormat::Printer printer;
    printer.SetInitialIndentLevel(2);
    std::string text;
    printer.PrintToString(message, &text);
    out += "  " + label + " {\n" + text + "  }\n";
}

// The header on one line: it is short and the same in every message.
void appendHead(std::string& out, const CommonHead& head)
{
    google::protobuf::TextFormat::Printer printer;
    printer.SetSingleLineMode(true);
    std::string text;
    printer.PrintToString(head, &text);
    out += "  head_data { " + text + "}\n";
}

// Parses bytes as prototype's type and appends it; a line about the bytes
// when they do not parse.
std::unique_ptr<Message> appendParsed(std::string& out, const std::string& label, const Message& prototype,
                                      const std::string& bytes)
{
    std::unique_ptr<Message> message(prototype.New());
    if (!message->ParseFromString(bytes)) {
        out += "  " + label + ": " + std::to_string(bytes.size()) + " bytes that are not a " +
               prototype.GetDescriptor()->name() + "\n";
        return nullptr;
    }
    appendBlock(out, label, *message);
    return message;
}

} // namespace

std::string CAppMessageText::messageName(uint32_t messageId)
{
    const std::string& name = MessageType_Name(static_cast<MessageType>(messageId));
    return name.empty() ? std::to_string(messageId) : name;
}

std::string CAppMessageText::summary(const QuelbyMessage& envelope)
{
    const CommonHead& head = envelope.head_data();
    std::ostringstream out;
    out << "message_id " << messageName(static_cast<uint32_t>(head.message_id())) << " ("
        << static_cast<uint32_t>(head.message_id()) << "), head_type " << head.head_type() << ", sequence "
        << head.message_sequence();
    return out.str();
}

std::string CAppMessageText::describe(const QuelbyMessage& envelope, bool request)
{
    std::string out;
    appendHead(out, envelope.head_data());
    const uint32_t messageId = static_cast<uint32_t>(envelope.head_data().message_id());
    if (!envelope.has_data()) {
        out += "  (no body)\n";
        return out;
    }
    const std::string& body = envelope.data().value();

    if (request) {
        const Message* prototype = find(s_requestBodies, messageId);
        if (prototype == nullptr) {
            out += "  body: " + std::to_string(body.size()) + " bytes\n";
            return out;
        }
        std::unique_ptr<Message> decoded = appendParsed(out, prototype->GetDescriptor()->name(), *prototype, body);
        const auto* params = dynamic_cast<const DroneParamMessageRequest*>(decoded.get());
        for (int i = 0; params != nullptr && i < params->params_list_size(); ++i) {
            appendParsed(out, "params_list[" + std::to_string(i) + "].data.value ParameterInt32",
                         ParameterInt32::default_instance(), params->params_list(i).data().value());
        }
        return out;
    }

    if (envelope.head_data().head_type() == HEAD_TYPE_RESPONSE) {
        std::unique_ptr<Message> decoded = appendParsed(out, "RspMessage", RspMessage::default_instance(), body);
        const auto* rsp = dynamic_cast<const RspMessage*>(decoded.get());
        const Message* inner = find(s_answerData, messageId);
        if (rsp == nullptr || rsp->data().empty() || inner == nullptr) {
            return out;
        }
        std::unique_ptr<Message> data =
            appendParsed(out, "RspMessage.data " + inner->GetDescriptor()->name(), *inner, rsp->data());
        const auto* params = dynamic_cast<const DroneParamMessageResponse*>(data.get());
        for (int i = 0; params != nullptr && i < params->params_list_size(); ++i) {
            if (!params->params_list(i).data().empty()) {
                appendParsed(out, "params_list[" + std::to_string(i) + "].data ParameterInt32",
                             ParameterInt32::default_instance(), params->params_list(i).data());
            }
        }
        return out;
    }

    const Message* prototype = find(s_reportBodies, messageId);
    if (prototype == nullptr) {
        out += "  body: " + std::to_string(body.size()) + " bytes\n";
        return out;
    }
    appendParsed(out, prototype->GetDescriptor()->name(), *prototype, body);
    return out;
}
