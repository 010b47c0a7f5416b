#include "kit/SampleTraffic.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "msgHandle/AtCommandDefine.h"
#include "msgHandle/NestCommandDefine.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/xolt2Protobuf/RcKeyDefine.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"

namespace qp = quelby::protocol;

namespace {

std::vector<uint8_t> bytes(std::initializer_list<int> values)
{
    std::vector<uint8_t> out;
    for (int v : values) {
        out.push_back(static_cast<uint8_t>(v));
    }
    return out;
}

// values, then filler bytes up to size.
std::vector<uint8_t> padded(std::initializer_list<int> values, size_t size)
{
    std::vector<uint8_t> payload = bytes(values);
    for (size_t i = payload.size(); i < size; ++i) {
        payload.push_back(static_cast<uint8_t>(0x30 + i % 10));
    }
    return payload;
}

// A command-channel acknowledgement: the command (16 bits), the result.
std::vector<uint8_t> normalAck(uint16_t command, uint8_t result)
{
    return bytes({command & 0xFF, command >> 8, result});
}

// Nest commands: the App request, the command number it goes out with, and
// the App id the nest's acknowledgement is answered with (the system-config
// acknowledgement goes out under the single-calibration id).
struct TNestCommand {
    const char* name;
    uint32_t appId;
    uint8_t command;
    uint32_t answerId;
};

const TNestCommand s_nestCommands[] = {
    {"nest_cabin", qp::NEST_CABIN_CONTROL_MSG, NEST_CMD_HATCH_CONTROL, qp::NEST_CABIN_CONTROL_MSG},
    {"nest_xrod", qp::NEST_XROD_CONTROL_MSG, NEST_CMD_LOCATION_ROD, qp::NEST_XROD_CONTROL_MSG},
    {"nest_yrod", qp::NEST_YROD_CONTROL_MSG, NEST_CMD_CHARGE_ROD, qp::NEST_YROD_CONTROL_MSG},
    {"nest_zrod", qp::NEST_ZROD_CONTROL_MSG, NEST_CMD_PADDIES_ROD, qp::NEST_ZROD_CONTROL_MSG},
    {"nest_charge", qp::NEST_CHARGE_CONTROL_MSG, NEST_CMD_AIRPLANE_CHARGE, qp::NEST_CHARGE_CONTROL_MSG},
    {"nest_reset", qp::NEST_RESET_MSG, NEST_CMD_SYSTEM_RESET, qp::NEST_RESET_MSG},
    {"nest_calibration_operation", qp::NEST_CALIBRATION_OPERATION_MSG, NEST_CODE_CALIBRATION_OPERATION,
     qp::NEST_CALIBRATION_OPERATION_MSG},
    {"nest_single_calibration", qp::NEST_SINGLE_CALIBRATION_MSG, NEST_CODE_SINGLE_CALIBRATION,
     qp::NEST_SINGLE_CALIBRATION_MSG},
    {"nest_system_config", qp::NEST_SYSTEM_CONFIG_MSG, NEST_CMD_SYSTEM_CONFIG, qp::NEST_SINGLE_CALIBRATION_MSG},
    {"nest_turn_on_off", qp::NEST_TURN_ON_OFF_MSG, NEST_CMD_AIRPLANE_POWER, qp::NEST_TURN_ON_OFF_MSG},
    {"nest_ac", qp::NEST_AC_CONTROL_MSG, NEST_CMD_AIR_CONDITIONER_POWER, qp::NEST_AC_CONTROL_MSG},
    {"nest_scram", qp::NEST_SCRAM_CONTROL_MSG, NEST_CMD_SOTF_STOP, qp::NEST_SCRAM_CONTROL_MSG},
    {"nest_auto_command", qp::NEST_AUTO_COMMAND_MSG, NEST_CMD_AUTO_TASK, qp::NEST_AUTO_COMMAND_MSG},
    {"nest_motor_to_zero", qp::NEST_MOTOR_TO_ZERO_MSG, NEST_CMD_MOTOR_LOCATION_ZERO, qp::NEST_MOTOR_TO_ZERO_MSG},
    {"nest_return_wait_time", qp::NEST_RETURN_WAIT_TIME_MSG, NEST_CODE_RETURN_WAIT_TIME, qp::NEST_RETURN_WAIT_TIME_MSG},
};

std::string nestAckName(uint8_t command)
{
    return "nest_ack_" + std::to_string(command);
}

class CFrames {
public:
    explicit CFrames(uint8_t seq) : m_seq(seq) {}

    void add(const std::string& name, uint8_t source, uint8_t msgid, const std::vector<uint8_t>& payload, bool answered,
             uint32_t answerId, uint32_t queueKey = 0, bool popsWithoutLooking = false)
    {
        TSampleMessage m;
        m.name = name;
        m.bytes = radioSideFrame(m_seq, source, msgid, payload);
        m.id = msgid;
        m.answered = answered;
        m.answerId = answerId;
        m.queueKey = queueKey;
        m.popsWithoutLooking = popsWithoutLooking;
        m_out.push_back(m);
    }

    std::vector<TSampleMessage>& out() { return m_out; }

private:
    uint8_t m_seq;
    std::vector<TSampleMessage> m_out;
};

class CRequests {
public:
    explicit CRequests(int32_t sequence) : m_sequence(sequence) {}

    void add(const std::string& name, uint32_t messageId, const google::protobuf::Message* body, bool answered,
             uint32_t frameMsgid, int frameSub, uint32_t queueKey = 0, const std::string& answeredBy = "")
    {
        TSampleMessage m;
        m.name = name;
        m.bytes = appEnvelope(messageId, m_sequence, body);
        m.id = messageId;
        m.answered = answered;
        m.answerId = frameMsgid;
        m.answerSub = frameSub;
        m.queueKey = queueKey;
        m.answeredBy = answeredBy;
        m_out.push_back(m);
    }

    std::vector<TSampleMessage>& out() { return m_out; }

private:
    int32_t m_sequence;
    std::vector<TSampleMessage> m_out;
};

qp::DroneParamMessageRequest paramRequest(std::initializer_list<qp::ParameterType> ids, int32_t value,
                                          qp::DroneParameterType type = qp::INT32)
{
    qp::DroneParamMessageRequest request;
    for (qp::ParameterType id : ids) {
        qp::DroneParamsRequest* param = request.add_params_list();
        param->set_param_id(id);
        param->set_param_type(type);
        qp::ParameterInt32 v;
        v.set_value(value);
        param->mutable_data()->set_value(v.SerializeAsString());
    }
    return request;
}

qp::NestCommand nestCommand(int32_t type, int32_t action)
{
    qp::NestCommand c;
    c.set_nesttype(type);
    c.set_nestaction(action);
    return c;
}

} // namespace

std::string radioSideFrame(uint8_t seq, uint8_t sourceid, uint8_t msgid, const std::vector<uint8_t>& payload)
{
    xolt_message_head_t record{};
    const uint16_t length = static_cast<uint16_t>(std::min<size_t>(payload.size(), XOLT_MAX_PAYLOAD_LEN));
    std::copy_n(payload.begin(), length, xolt_payload(&record));
    const uint16_t wireLength = finishRadioSideFrame(record, seq, sourceid, msgid, length);
    return std::string(reinterpret_cast<const char*>(xolt_wire_bytes(&record)), wireLength);
}

uint16_t finishRadioSideFrame(xolt_message_head_t& record, uint8_t seq, uint8_t sourceid, uint8_t msgid,
                              uint16_t length)
{
    record.msgid = msgid;
    return xolt_finalize_message(&record, DEV_APP, sourceid, length, xolt_message_crcs[msgid], seq);
}

std::string appEnvelope(uint32_t messageId, int32_t sequence, const google::protobuf::Message* body, int32_t headType)
{
    qp::QuelbyMessage envelope;
    fillAppEnvelope(envelope, messageId, sequence, body, headType);
    return envelope.SerializeAsString();
}

void fillAppEnvelope(qp::QuelbyMessage& envelope, uint32_t messageId, int32_t sequence,
                     const google::protobuf::Message* body, int32_t headType)
{
    qp::CommonHead* head = envelope.mutable_head_data();
    head->set_token("App");
    head->set_head_type(headType);
    head->set_source_id(1);
    head->set_message_id(static_cast<qp::MessageType>(messageId));
    head->set_message_sequence(sequence);
    if (body != nullptr) {
        body->SerializeToString(envelope.mutable_data()->mutable_value());
    } else {
        envelope.clear_data();
    }
}

std::vector<TSampleMessage> sampleRadioFrames(uint8_t seq)
{
    CFrames f(seq);

    // Command-channel acknowledgements: only those of the system time are answered.
    f.add("ack_system_time_ok", DEV_RC, XOLT_MSG_ID_NORMAL_MSG, normalAck(XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME, 0), true,
          qp::RC_SYSTEM_TIME_MSG, qp::RC_SYSTEM_TIME_MSG);
    f.add("ack_system_time_error", DEV_RC, XOLT_MSG_ID_NORMAL_MSG, normalAck(XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME, 3),
          true, qp::RC_SYSTEM_TIME_MSG, qp::RC_SYSTEM_TIME_MSG);
    f.add("ack_other_command", DEV_RC, XOLT_MSG_ID_NORMAL_MSG, normalAck(XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME - 1, 0),
          false, 0);

    // Key events: key, press time, wheel value, status, unused bytes.
    for (int key : {XOLT_RC_KEY_PHOTO, XOLT_RC_KEY_RECORD, XOLT_RC_KEY_LEFT_CUSTOM, XOLT_RC_KEY_RIGHT_CUSTOM,
                    XOLT_RC_KEY_ZOOM_IN, XOLT_RC_KEY_ZOOM_OUT, XOLT_RC_KEY_PHOTO_RECORD}) {
        f.add("rc_key_" + std::to_string(key), DEV_RC, XOLT_MSG_ID_RC_KEY,
              padded({key, 1, 5, 2}, sizeof(__xolt_rc_key_t)), true, qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    }
    f.add("rc_key_6_unsupported", DEV_RC, XOLT_MSG_ID_RC_KEY,
          padded({XOLT_RC_KEY_RESERVED, 1, 5, 2}, sizeof(__xolt_rc_key_t)), false, 0);

    // RC settings channel: the phone-set record (type, length, data).
    const uint8_t settings = XOLT_MSG_ID_RC_SETTINGS;
    const size_t settingsLen = sizeof(__xolt_phone_set_t);
    f.add("rc_set_gimbal_speed_ack", DEV_RC, settings, padded({GIMBAL_SPEED_SET, 1, 0, 0, 0, 0}, settingsLen), true,
          qp::PARAM_SET_MSG);
    f.add("rc_get_gimbal_speed_ack", DEV_RC, settings, padded({GIMBAL_SPEED_GET, 1, 50, 0, 0, 0}, settingsLen), true,
          qp::PARAM_GET_MSG);
    f.add("rc_calibration_ack", DEV_RC, settings, padded({REMOTE_CALIB_DATA, 1, 1}, settingsLen), true,
          kStateDependentAnswer);
    f.add("rc_raw_sticks", DEV_RC, settings,
          padded({REMOTE_SENSING_UPLOAD, 12, 0x10, 0x00, 0xF0, 0xFF, 0x20, 0x00, 0xE0, 0xFF, 0, 0, 0x05, 0x00},
                 settingsLen),
          true, qp::RC_HARDWARE_STATE_NTFY);
    f.add("rc_battery", DEV_RC, settings, padded({REMOTE_SENSING_BATTERY_QUERY, 5, 80, 90, 95, 1, 30}, settingsLen),
          true, qp::RC_STATE_NTFY);
    f.add("rc_set_mode_ack", DEV_RC, settings, padded({REMOTE_OPER_MODE_SET, 1, 0}, settingsLen), true,
          qp::PARAM_SET_MSG);
    f.add("rc_get_mode_answer", DEV_RC, settings, padded({REMOTE_OPER_MODE_GET, 1, 2}, settingsLen), true,
          qp::PARAM_GET_MSG, qp::PARAM_GET_MSG, true);
    f.add("rc_calibration_status_17", DEV_RC, settings,
          padded({JOYSTICK_CALIB_DATA_UPLOAD, 17, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 1}, settingsLen),
          true, qp::RC_ROCKER_CALIBRATION_STATE_NTFY);
    f.add("rc_calibration_status_13", DEV_RC, settings,
          padded({JOYSTICK_CALIB_DATA_UPLOAD, 13, 1, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 1}, settingsLen), true,
          qp::RC_ROCKER_CALIBRATION_STATE_NTFY);
    f.add("rc_calibration_status_bad_length", DEV_RC, settings, padded({JOYSTICK_CALIB_DATA_UPLOAD, 5}, settingsLen),
          false, 0);
    f.add("rc_battery_info_ignored", DEV_RC, settings, padded({RC_CMD_BATTERY_INFO, 1}, settingsLen), false, 0);
    f.add("rc_language_unsupported", DEV_RC, settings, padded({REMOTE_LANGUAGE_SET, 1}, settingsLen), false, 0);
    f.add("rc_settings_short", DEV_RC, settings, bytes({REMOTE_SENSING_BATTERY_QUERY}), true, qp::RC_STATE_NTFY);

    // Nest reports: report type first; the layouts are the report handler's.
    const uint8_t nest = XOLT_MSG_ID_NEST_COMMON_COMMAND;
    f.add("nest_report_status", DEV_NEST, nest, padded({NEST_CMD_SYSTEM_STATUS}, 118), true, kStateDependentAnswer);
    for (int type : std::initializer_list<int>{
             NEST_CMD_BAT_DYNAMIC_INFO, NEST_CMD_BAT_STATIC_INFO, NEST_CMD_BAT_ALTERNATE_INFO, NEST_CMD_DRV_INFO1,
             NEST_CODE_ZROD_READY, NEST_CODE_SELF_CHECK, NEST_CMD_AUTO_TASK_SUCCESS, NEST_CODE_TRANSMIT_HEARTBEAT}) {
        f.add("nest_report_" + std::to_string(type), DEV_NEST, nest, padded({type}, 64), true, kStateDependentAnswer);
    }

    // Nest command acknowledgements: command, result.
    const uint8_t ack = XOLT_MSG_ID_NEST_COMMAND_ACK;
    for (const TNestCommand& command : s_nestCommands) {
        f.add(nestAckName(command.command), DEV_NEST, ack, bytes({command.command, 0, 0, 0}), true, command.answerId,
              command.appId);
    }
    f.add("nest_ack_1_error", DEV_NEST, ack, bytes({NEST_CMD_HATCH_CONTROL, 7}), true, qp::NEST_CABIN_CONTROL_MSG,
          qp::NEST_CABIN_CONTROL_MSG);
    for (int command : {NEST_CMD_MOTOR_DRV_POWER, NEST_CMD_MOTOR_DRV_RESET, NEST_CMD_MOTOR_CONFIG}) {
        f.add("nest_ack_motor_" + std::to_string(command), DEV_NEST, ack, bytes({command, 0}), true, 0);
    }
    f.add("nest_ack_22_unanswered", DEV_NEST, ack, bytes({NEST_CMD_UPS_POWER, 0}), false, 0);

    // AT command answers: the command, then its data.
    const uint8_t at = XOLT_MSG_ID_AT_COMMAND_RESP;
    f.add("at_pair_answer", DEV_RC, at, padded({REQUEST_PAIR, 0}, AT_COMAND_RESP_LEN), true,
          qp::AIRLINK_START_MATCHING_MSG);
    for (int command : {SET_FREQ_BAND, SET_PHOTO_MODE, SET_FCC_MODE, SET_ELOG_SWITCH}) {
        f.add("at_setting_" + std::to_string(command), DEV_RC, at, padded({command, 0}, AT_COMAND_RESP_LEN), true,
              qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    }
    f.add("at_pair_progress", DEV_RC, at, padded({PAIR_PROGRESS_REPORT, 50}, AT_COMAND_RESP_LEN), true,
          qp::AIRLINK_MATCHING_STATUS_NTFY);
    f.add("at_pair_progress_negative", DEV_RC, at, padded({PAIR_PROGRESS_REPORT, 0xFF}, AT_COMAND_RESP_LEN), true,
          qp::AIRLINK_MATCHING_STATUS_NTFY);
    f.add("at_unsupported", DEV_RC, at, padded({AT_COMAND_TYPE_ENUM_END, 0}, AT_COMAND_RESP_LEN), false, 0);

    // Version answers: device type, four lengths, the strings back to back.
    const uint8_t ver = XOLT_SYSTEM_CMD_GET_VERSIONS;
    std::vector<uint8_t> versions = bytes({1, 6, 5, 4, 3});
    for (char c : std::string("T1.2.3R1.0.M2.0X01")) {
        versions.push_back(static_cast<uint8_t>(c));
    }
    f.add("versions", DEV_RC, ver, versions, true, qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    f.add("versions_only_rc", DEV_RC, ver, padded({1, 0, 8, 0, 0}, 13), true, qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    f.add("versions_too_long", DEV_RC, ver, padded({1, 30, 25, 21, 40}, 5 + 116), true,
          qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    f.add("versions_past_payload", DEV_RC, ver, padded({1, 200, 200, 200, 200}, 8), true,
          qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    f.add("versions_empty", DEV_RC, ver, bytes({}), true, qp::RC_HARDWARE_BUTTON_INFO_NTFY);

    return f.out();
}

std::vector<TSampleMessage> sampleAppRequests(int32_t sequence)
{
    CRequests r(sequence);

    const uint8_t settings = XOLT_MSG_ID_RC_SETTINGS;
    const auto getGimbal = paramRequest({qp::GIMBAL_PITCH_SPEED_MSG}, 0);
    const auto getRocker = paramRequest({qp::RC_ROCKER_CONTROL_MODE_MSG}, 0);
    const auto getBoth = paramRequest({qp::GIMBAL_PITCH_SPEED_MSG, qp::RC_ROCKER_CONTROL_MODE_MSG}, 0);
    const auto getUnsupported = paramRequest({qp::GIMBAL_PITCH_SPEED_MSG}, 0, qp::UINT8);
    const auto setGimbal = paramRequest({qp::GIMBAL_PITCH_SPEED_MSG}, 0x01020305);
    const auto setRocker = paramRequest({qp::RC_ROCKER_CONTROL_MODE_MSG}, 2);
    const auto setUnknown = paramRequest({qp::FCS_MAX_HEIGHT_MSG}, 2);
    r.add("get_gimbal_speed", qp::PARAM_GET_MSG, &getGimbal, true, settings, RC_CMD_GET_GIMBAL_SPEED, 0,
          "rc_get_gimbal_speed_ack");
    r.add("get_rocker_mode", qp::PARAM_GET_MSG, &getRocker, true, settings, RC_CMD_GET_MODE, qp::PARAM_GET_MSG,
          "rc_get_mode_answer");
    r.add("get_both", qp::PARAM_GET_MSG, &getBoth, true, settings, RC_CMD_GET_GIMBAL_SPEED, qp::PARAM_GET_MSG);
    r.add("get_unsupported_type", qp::PARAM_GET_MSG, &getUnsupported, false, 0, -1);
    r.add("set_gimbal_speed", qp::PARAM_SET_MSG, &setGimbal, true, settings, RC_CMD_SET_GIMBAL_SPEED, 0,
          "rc_set_gimbal_speed_ack");
    r.add("set_rocker_mode", qp::PARAM_SET_MSG, &setRocker, true, settings, RC_CMD_SET_MODE, 0, "rc_set_mode_ack");
    r.add("set_unknown_parameter", qp::PARAM_SET_MSG, &setUnknown, false, 0, -1);

    qp::DroneUTCTimeSync utc;
    utc.set_gps_time(0x0102030405060708ull);
    r.add("utc_time_sync", qp::DRONE_UTC_TIME_SYNC_NTFY, &utc, true, XOLT_MSG_ID_DRONE_UTC_TIME_SYNC,
          static_cast<int>(utc.gps_time() & 0xFF));
    qp::SystemTimeInfo systemTime;
    systemTime.set_utctimeinterval(1700000000000ll);
    systemTime.set_timezone(-5);
    r.add("rc_system_time", qp::RC_SYSTEM_TIME_MSG, &systemTime, true, XOLT_MSG_ID_NORMAL_MSG,
          XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME & 0xFF, qp::RC_SYSTEM_TIME_MSG, "ack_system_time_ok");

    const auto cabin = nestCommand(1, 2);
    qp::NestResetCommand reset;
    reset.set_nesttype(1);
    qp::NestCalibrateOperation calibrate;
    calibrate.set_nesttype(1);
    calibrate.set_nestaction(1);
    qp::NestSingleCalibration single;
    single.set_nesttype(1);
    single.set_nestcomponents(2);
    single.set_direction(1);
    qp::NestSystemConfig systemConfig;
    systemConfig.set_nesttype(1);
    systemConfig.set_airopenlimit(30);
    systemConfig.set_aircloselimit(20);
    systemConfig.set_unixtime(0x12345678);
    systemConfig.set_autodischarge(1);
    systemConfig.set_autocharge(1);
    qp::NestWaitTime waitTime;
    waitTime.set_waittime(30);
    // The commands' own bodies where they have one, a NestCommand otherwise.
    auto bodyOf = [&](uint32_t appId) -> const google::protobuf::Message* {
        switch (appId) {
        case qp::NEST_RESET_MSG:
            return &reset;
        case qp::NEST_CALIBRATION_OPERATION_MSG:
            return &calibrate;
        case qp::NEST_SINGLE_CALIBRATION_MSG:
            return &single;
        case qp::NEST_SYSTEM_CONFIG_MSG:
            return &systemConfig;
        case qp::NEST_RETURN_WAIT_TIME_MSG:
            return &waitTime;
        default:
            return &cabin;
        }
    };
    for (const TNestCommand& n : s_nestCommands) {
        r.add(n.name, n.appId, bodyOf(n.appId), true, XOLT_MSG_ID_NEST_COMMON_COMMAND, n.command, n.appId,
              nestAckName(n.command));
    }
    qp::NestVirtualPoleStateNtfy sticks;
    sticks.set_rightverticalvalue(100);
    sticks.set_leftverticalvalue(-100);
    sticks.set_lefthorizontalvalue(50);
    sticks.set_righthorizontalvalue(-50);
    sticks.set_generalkey(1);
    sticks.set_gimbalpitch(2);
    sticks.set_combinedkey(3);
    r.add("nest_virtual_sticks", qp::NEST_VIRTUAL_POLE_STATUS_NTFY, &sticks, true, XOLT_MSG_ID_NEST_VIRTUAL_STICK, -1);

    qp::ParameterInt32 one;
    one.set_value(1);
    r.add("enter_calibration", qp::RC_ENTER_CALIBRATION_MSG, nullptr, true, settings, RC_CMD_CALIBRATION, 0,
          "rc_calibration_ack");
    r.add("exit_calibration", qp::RC_EXIT_CALIBRATION_MSG, nullptr, true, settings, RC_CMD_CALIBRATION, 0,
          "rc_calibration_ack");
    r.add("start_hardware_state", qp::RC_START_HARDWARE_STATE_NTFY_MSG, &one, true, settings, RC_CMD_RAW_DATA);

    qp::ParameterInt32 choice;
    choice.set_value(3);
    r.add("start_matching", qp::AIRLINK_START_MATCHING_MSG, nullptr, true, XOLT_MSG_ID_AT_COMMAND, REQUEST_PAIR, 0,
          "at_pair_answer");
    r.add("device_info_query", qp::RC_QUERY_DEVICE_INFO_MSG, nullptr, true, XOLT_SYSTEM_CMD_GET_VERSIONS, -1, 0,
          "versions");
    r.add("quick_match_choose", qp::RC_QUICK_MATCH_CHOOSE_CONNECT_MSG, &choice, true, XOLT_MSG_ID_AT_COMMAND,
          AT_COMAND_QUICK_MATCH_CHOOSE_CONNECT, qp::RC_QUICK_MATCH_CHOOSE_CONNECT_MSG);
    r.add("quick_match_clear_blacklist", qp::RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG, nullptr, true, XOLT_MSG_ID_AT_COMMAND,
          AT_COMAND_QUICK_MATCH_CLEAR_BLACKLIST, qp::RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG);
    return r.out();
}

std::vector<TSampleMessage> sampleConfigurations()
{
    std::vector<TSampleMessage> out;
    auto add = [&out](const std::string& name, const std::string& text) {
        TSampleMessage m;
        m.name = name;
        m.bytes = text;
        out.push_back(m);
    };
#ifdef LUMBRIX_SOURCE_DIR
    std::ifstream in(std::string(LUMBRIX_SOURCE_DIR) + "/config/lumbrix.json");
    std::stringstream shipped;
    shipped << in.rdbuf();
    if (!shipped.str().empty()) {
        add("shipped_example", shipped.str());
    }
#endif
    add("every_key",
        "{\n"
        "  \"serviceEntity\": [\n"
        "    {\"enable\": true, \"socketType\": 2, \"protocolType\": \"xolt\", \"listenIp\": \"127.0.0.1\", "
        "\"listenPort\": 25100},\n"
        "    {\"socketType\": 1, \"protocolType\": \"protobuf\", \"listenIp\": \"127.0.0.1\", \"listenPort\": 25200},\n"
        "    {\"enable\": false, \"socketType\": 2}\n"
        "  ],\n"
        "  \"clientEntity\": [\n"
        "    {\"enable\": true, \"serviceName\": \"transmit\", \"serviceId\": 2, \"socketType\": \"udp\", "
        "\"remoteIp\": \"127.0.0.1\", \"remotePort\": 25101, \"localIp\": \"\", \"localPort\": 0},\n"
        "    {\"serviceName\": \"app\", \"serviceId\": 0, \"socketType\": \"udp\", \"remoteIp\": \"127.0.0.1\", "
        "\"remotePort\": 25201}\n"
        "  ],\n"
        "  \"log\": {\"level\": \"Debug\", \"file\": \"log/aiService.log\", \"fileCnt\": 3, \"logMode\": 1, "
        "\"logExternalEnable\": true, \"logExternalPath\": \"card/\", \"logExternalImagePath\": \"card/images/\", "
        "\"logTransmitUrl\": \"log/\", \"fileSize\": 100, \"totalSize\": 1000, \"minFileCnt\": 2}\n"
        "}\n");
    add("log_mode_0", "{\"log\": {\"level\": \"Warn\", \"file\": \"x.log\", \"fileCnt\": 2, \"fileSize\": 64}}");
    add("empty_object", "{}");
    add("large_numbers",
        "{\"serviceEntity\": [{\"socketType\": 18446744073709551615, \"protocolType\": \"xolt\", \"listenIp\": "
        "\"0.0.0.0\", \"listenPort\": -9223372036854775808}], /* comment */ \"log\": {\"fileCnt\": 4294967298}}");
    add("wrong_types", "{\"clientEntity\": {\"serviceId\": \"2\"}, \"log\": {\"level\": 2}}");
    return out;
}
