#include "AppMessageText.h"

#include <google/protobuf/text_format.h>

#include <memory>

#include "AppCommand.h"

using namespace quelby::protocol;
using google::protobuf::Message;

namespace {

struct TBodyType {
    uint32_t messageId;
    const Message* prototype;
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

// Parses bytes as prototype's type and appends it as "  LABEL {" ... "  }"
// (a line about the bytes when they do not parse); the message, or null.
std::unique_ptr<Message> appendParsed(std::string& out, const std::string& label, const Message* prototype,
                                      const std::string& bytes)
{
    if (prototype == nullptr) {
        out += "  body: " + std::to_string(bytes.size()) + " bytes\n";
        return nullptr;
    }
    std::unique_ptr<Message> message(prototype->New());
    if (!message->ParseFromString(bytes)) {
        out += "  " + label + ": " + std::to_string(bytes.size()) + " bytes that are not a " +
               prototype->GetDescriptor()->name() + "\n";
        return nullptr;
    }
    google::protobuf::TextFormat::Printer printer;
    printer.SetInitialIndentLevel(2);
    std::string text;
    printer.PrintToString(*message, &text);
    out += "  " + label + " {\n" + text + "  }\n";
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
    const uint32_t id = static_cast<uint32_t>(head.message_id());
    return "message_id " + messageName(id) + " (" + std::to_string(id) + "), head_type " +
           std::to_string(head.head_type()) + ", sequence " + std::to_string(head.message_sequence());
}

std::string CAppMessageText::describe(const QuelbyMessage& envelope, bool request)
{
    // The header on one line: it is short and the same in every message.
    google::protobuf::TextFormat::Printer printer;
    printer.SetSingleLineMode(true);
    std::string out;
    printer.PrintToString(envelope.head_data(), &out);
    out = "  head_data { " + out + "}\n";
    if (!envelope.has_data()) {
        return out + "  (no body)\n";
    }
    const uint32_t id = static_cast<uint32_t>(envelope.head_data().message_id());
    const std::string& body = envelope.data().value();
    if (!request && envelope.head_data().head_type() != HEAD_TYPE_RESPONSE) {
        const Message* prototype = find(s_reportBodies, id);
        appendParsed(out, prototype != nullptr ? prototype->GetDescriptor()->name() : "", prototype, body);
        return out;
    }
    // A request, or an answer's RspMessage and the data it carries; then the
    // parameter values a parameter message carries in its own bytes.
    const Message* prototype = request ? CAppCommand::requestBody(id) : &RspMessage::default_instance();
    std::unique_ptr<Message> decoded =
        appendParsed(out, prototype != nullptr ? prototype->GetDescriptor()->name() : "", prototype, body);
    const auto* rsp = dynamic_cast<const RspMessage*>(decoded.get());
    const Message* inner = find(s_answerData, id);
    if (rsp != nullptr && !rsp->data().empty() && inner != nullptr) {
        decoded = appendParsed(out, "RspMessage.data " + inner->GetDescriptor()->name(), inner, rsp->data());
    }
    if (const auto* params = dynamic_cast<const DroneParamMessageRequest*>(decoded.get())) {
        for (int i = 0; i < params->params_list_size(); ++i) {
            appendParsed(out, "params_list[" + std::to_string(i) + "].data.value ParameterInt32",
                         &ParameterInt32::default_instance(), params->params_list(i).data().value());
        }
    }
    if (const auto* params = dynamic_cast<const DroneParamMessageResponse*>(decoded.get())) {
        for (int i = 0; i < params->params_list_size(); ++i) {
            if (!params->params_list(i).data().empty()) {
                appendParsed(out, "params_list[" + std::to_string(i) + "].data ParameterInt32",
                             &ParameterInt32::default_instance(), params->params_list(i).data());
            }
        }
    }
    return out;
}
