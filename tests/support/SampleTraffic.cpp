#include "SampleTraffic.h"

#include <fstream>
#include <sstream>

#include "TestMessages.h"
#include "quelby_protocol.pb.h"

namespace qp = quelby::protocol;

namespace {

constexpr uint8_t kDevRc = 14;
constexpr uint8_t kDevApp = 32;
constexpr uint8_t kDevNest = 35;

// CRC extras of the frames the radio side sends.
constexpr uint8_t kCrcNormalMsg = 183;
constexpr uint8_t kCrcRcKey = 224;
constexpr uint8_t kCrcRcSettings = 36;
constexpr uint8_t kCrcNestReport = 59;
constexpr uint8_t kCrcNestAck = 123;
constexpr uint8_t kCrcAtResp = 47;
constexpr uint8_t kCrcVersions = 0;

std::vector<uint8_t> padded(std::vector<uint8_t> payload, size_t size)
{
    for (size_t i = payload.size(); i < size; ++i) {
        payload.push_back(static_cast<uint8_t>(0x30 + i % 10));
    }
    return payload;
}

class CFrames {
public:
    explicit CFrames(uint8_t seq) : m_seq(seq) {}

    void add(const std::string& name, uint8_t source, uint8_t msgid, uint8_t crcExtra,
             const std::vector<uint8_t>& payload, bool answered, uint32_t answerId, uint32_t queueKey = 0,
             bool popsWithoutLooking = false)
    {
        TSampleMessage m;
        m.name = name;
        m.bytes = toString(radioFrame(m_seq, kDevApp, source, msgid, payload, crcExtra));
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
             uint32_t frameMsgid, int frameSub, uint32_t queueKey = 0)
    {
        TSampleMessage m;
        m.name = name;
        m.bytes = appRequest(messageId, m_sequence, body);
        m.id = messageId;
        m.answered = answered;
        m.answerId = frameMsgid;
        m.answerSub = frameSub;
        m.queueKey = queueKey;
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

std::vector<TSampleMessage> sampleRadioFrames(uint8_t seq)
{
    CFrames f(seq);

    // Command-channel acknowledgements: only those of command 78 are answered.
    f.add("ack_system_time_ok", kDevRc, 110, kCrcNormalMsg, bytes({78, 0, 0}), true, qp::RC_SYSTEM_TIME_MSG,
          qp::RC_SYSTEM_TIME_MSG);
    f.add("ack_system_time_error", kDevRc, 110, kCrcNormalMsg, bytes({78, 0, 3}), true, qp::RC_SYSTEM_TIME_MSG,
          qp::RC_SYSTEM_TIME_MSG);
    f.add("ack_other_command", kDevRc, 110, kCrcNormalMsg, bytes({77, 0, 0}), false, 0);

    // Key events: key, press time, wheel value, status, four unused bytes.
    for (int key : {4, 5, 7, 8, 9, 10, 11}) {
        f.add("rc_key_" + std::to_string(key), kDevRc, 144, kCrcRcKey, bytes({key, 1, 5, 2, 0, 0, 0, 0}), true,
              qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    }
    f.add("rc_key_6_unsupported", kDevRc, 144, kCrcRcKey, bytes({6, 1, 5, 2, 0, 0, 0, 0}), false, 0);

    // RC settings channel: type, length, up to 22 data bytes.
    const size_t settingsLen = 24;
    f.add("rc_set_gimbal_speed_ack", kDevRc, 150, kCrcRcSettings, padded(bytes({1, 1, 0, 0, 0, 0}), settingsLen),
          true, qp::PARAM_SET_MSG);
    f.add("rc_get_gimbal_speed_ack", kDevRc, 150, kCrcRcSettings, padded(bytes({2, 1, 50, 0, 0, 0}), settingsLen),
          true, qp::PARAM_GET_MSG);
    f.add("rc_calibration_ack", kDevRc, 150, kCrcRcSettings, padded(bytes({13, 1, 1}), settingsLen), true,
          kStateDependentAnswer);
    f.add("rc_raw_sticks", kDevRc, 150, kCrcRcSettings,
          padded(bytes({14, 12, 0x10, 0x00, 0xF0, 0xFF, 0x20, 0x00, 0xE0, 0xFF, 0, 0, 0x05, 0x00}), settingsLen),
          true, qp::RC_HARDWARE_STATE_NTFY);
    f.add("rc_battery", kDevRc, 150, kCrcRcSettings, padded(bytes({15, 5, 80, 90, 95, 1, 30}), settingsLen), true,
          qp::RC_STATE_NTFY);
    f.add("rc_set_mode_ack", kDevRc, 150, kCrcRcSettings, padded(bytes({18, 1, 0}), settingsLen), true,
          qp::PARAM_SET_MSG);
    f.add("rc_get_mode_answer", kDevRc, 150, kCrcRcSettings, padded(bytes({19, 1, 2}), settingsLen), true,
          qp::PARAM_GET_MSG, qp::PARAM_GET_MSG, true);
    f.add("rc_calibration_status_17", kDevRc, 150, kCrcRcSettings,
          padded(bytes({25, 17, 1, 0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0, 1}), settingsLen), true,
          qp::RC_ROCKER_CALIBRATION_STATE_NTFY);
    f.add("rc_calibration_status_13", kDevRc, 150, kCrcRcSettings,
          padded(bytes({25, 13, 1, 0, 0, 0, 2, 0, 0, 0, 4, 0, 0, 0, 1}), settingsLen), true,
          qp::RC_ROCKER_CALIBRATION_STATE_NTFY);
    f.add("rc_calibration_status_bad_length", kDevRc, 150, kCrcRcSettings, padded(bytes({25, 5}), settingsLen),
          false, 0);
    f.add("rc_battery_info_ignored", kDevRc, 150, kCrcRcSettings, padded(bytes({30, 1}), settingsLen), false, 0);
    f.add("rc_language_unsupported", kDevRc, 150, kCrcRcSettings, padded(bytes({3, 1}), settingsLen), false, 0);
    f.add("rc_settings_short", kDevRc, 150, kCrcRcSettings, bytes({15}), true, qp::RC_STATE_NTFY);

    // Nest reports: report type first; the layouts are the report handler's.
    f.add("nest_report_status", kDevNest, 182, kCrcNestReport, padded(bytes({32}), 118), true,
          kStateDependentAnswer);
    for (int type : {33, 34, 35, 37, 39, 40, 49, 64}) {
        f.add("nest_report_" + std::to_string(type), kDevNest, 182, kCrcNestReport, padded(bytes({type}), 64), true,
              kStateDependentAnswer);
    }

    // Nest command acknowledgements: command, result.
    const struct {
        int command;
        uint32_t queue;
        uint32_t answer;
    } acks[] = {
        {1, qp::NEST_CABIN_CONTROL_MSG, qp::NEST_CABIN_CONTROL_MSG},
        {2, qp::NEST_XROD_CONTROL_MSG, qp::NEST_XROD_CONTROL_MSG},
        {3, qp::NEST_YROD_CONTROL_MSG, qp::NEST_YROD_CONTROL_MSG},
        {7, qp::NEST_MOTOR_TO_ZERO_MSG, qp::NEST_MOTOR_TO_ZERO_MSG},
        {8, qp::NEST_ZROD_CONTROL_MSG, qp::NEST_ZROD_CONTROL_MSG},
        {9, qp::NEST_CALIBRATION_OPERATION_MSG, qp::NEST_CALIBRATION_OPERATION_MSG},
        {10, qp::NEST_SINGLE_CALIBRATION_MSG, qp::NEST_SINGLE_CALIBRATION_MSG},
        {16, qp::NEST_SYSTEM_CONFIG_MSG, qp::NEST_SINGLE_CALIBRATION_MSG},
        {17, qp::NEST_RESET_MSG, qp::NEST_RESET_MSG},
        {18, qp::NEST_CHARGE_CONTROL_MSG, qp::NEST_CHARGE_CONTROL_MSG},
        {19, qp::NEST_TURN_ON_OFF_MSG, qp::NEST_TURN_ON_OFF_MSG},
        {20, qp::NEST_AC_CONTROL_MSG, qp::NEST_AC_CONTROL_MSG},
        {21, qp::NEST_SCRAM_CONTROL_MSG, qp::NEST_SCRAM_CONTROL_MSG},
        {24, qp::NEST_RETURN_WAIT_TIME_MSG, qp::NEST_RETURN_WAIT_TIME_MSG},
        {48, qp::NEST_AUTO_COMMAND_MSG, qp::NEST_AUTO_COMMAND_MSG},
    };
    for (const auto& ack : acks) {
        f.add("nest_ack_" + std::to_string(ack.command), kDevNest, 183, kCrcNestAck, bytes({ack.command, 0, 0, 0}),
              true, ack.answer, ack.queue);
    }
    f.add("nest_ack_1_error", kDevNest, 183, kCrcNestAck, bytes({1, 7}), true, qp::NEST_CABIN_CONTROL_MSG,
          qp::NEST_CABIN_CONTROL_MSG);
    for (int command : {4, 5, 6}) {
        f.add("nest_ack_motor_" + std::to_string(command), kDevNest, 183, kCrcNestAck, bytes({command, 0}), true, 0);
    }
    f.add("nest_ack_22_unanswered", kDevNest, 183, kCrcNestAck, bytes({22, 0}), false, 0);

    // AT command answers: command, 50 data bytes.
    const size_t atLen = 51;
    f.add("at_pair_answer", kDevRc, 201, kCrcAtResp, padded(bytes({1, 0}), atLen), true,
          qp::AIRLINK_START_MATCHING_MSG);
    for (int command : {2, 3, 4, 5}) {
        f.add("at_setting_" + std::to_string(command), kDevRc, 201, kCrcAtResp, padded(bytes({command, 0}), atLen),
              true, qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    }
    f.add("at_pair_progress", kDevRc, 201, kCrcAtResp, padded(bytes({6, 50}), atLen), true,
          qp::AIRLINK_MATCHING_STATUS_NTFY);
    f.add("at_pair_progress_negative", kDevRc, 201, kCrcAtResp, padded(bytes({6, 0xFF}), atLen), true,
          qp::AIRLINK_MATCHING_STATUS_NTFY);
    f.add("at_unsupported", kDevRc, 201, kCrcAtResp, padded(bytes({7, 0}), atLen), false, 0);

    // Version answers: device type, four lengths, the strings back to back.
    std::vector<uint8_t> versions = bytes({1, 6, 5, 4, 3});
    for (char c : std::string("T1.2.3R1.0.M2.0X01")) {
        versions.push_back(static_cast<uint8_t>(c));
    }
    f.add("versions", kDevRc, 219, kCrcVersions, versions, true, qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    f.add("versions_only_rc", kDevRc, 219, kCrcVersions, padded(bytes({1, 0, 8, 0, 0}), 13), true,
          qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    f.add("versions_too_long", kDevRc, 219, kCrcVersions, padded(bytes({1, 30, 25, 21, 40}), 5 + 116), true,
          qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    f.add("versions_past_payload", kDevRc, 219, kCrcVersions, padded(bytes({1, 200, 200, 200, 200}), 8), true,
          qp::RC_HARDWARE_BUTTON_INFO_NTFY);
    f.add("versions_empty", kDevRc, 219, kCrcVersions, bytes({}), true, qp::RC_HARDWARE_BUTTON_INFO_NTFY);

    return f.out();
}

std::vector<TSampleMessage> sampleAppRequests(int32_t sequence)
{
    CRequests r(sequence);

    const auto getGimbal = paramRequest({qp::GIMBAL_PITCH_SPEED_MSG}, 0);
    const auto getRocker = paramRequest({qp::RC_ROCKER_CONTROL_MODE_MSG}, 0);
    const auto getBoth = paramRequest({qp::GIMBAL_PITCH_SPEED_MSG, qp::RC_ROCKER_CONTROL_MODE_MSG}, 0);
    const auto getUnsupported = paramRequest({qp::GIMBAL_PITCH_SPEED_MSG}, 0, qp::UINT8);
    const auto setGimbal = paramRequest({qp::GIMBAL_PITCH_SPEED_MSG}, 0x01020305);
    const auto setRocker = paramRequest({qp::RC_ROCKER_CONTROL_MODE_MSG}, 2);
    const auto setUnknown = paramRequest({qp::FCS_MAX_HEIGHT_MSG}, 2);
    r.add("get_gimbal_speed", qp::PARAM_GET_MSG, &getGimbal, true, 150, 2);
    r.add("get_rocker_mode", qp::PARAM_GET_MSG, &getRocker, true, 150, 19, qp::PARAM_GET_MSG);
    r.add("get_both", qp::PARAM_GET_MSG, &getBoth, true, 150, 2, qp::PARAM_GET_MSG);
    r.add("get_unsupported_type", qp::PARAM_GET_MSG, &getUnsupported, false, 0, -1);
    r.add("set_gimbal_speed", qp::PARAM_SET_MSG, &setGimbal, true, 150, 1);
    r.add("set_rocker_mode", qp::PARAM_SET_MSG, &setRocker, true, 150, 18);
    r.add("set_unknown_parameter", qp::PARAM_SET_MSG, &setUnknown, false, 0, -1);

    qp::DroneUTCTimeSync utc;
    utc.set_gps_time(0x0102030405060708ull);
    r.add("utc_time_sync", qp::DRONE_UTC_TIME_SYNC_NTFY, &utc, true, 24, 8);
    qp::SystemTimeInfo systemTime;
    systemTime.set_utctimeinterval(1700000000000ll);
    systemTime.set_timezone(-5);
    r.add("rc_system_time", qp::RC_SYSTEM_TIME_MSG, &systemTime, true, 110, 78, qp::RC_SYSTEM_TIME_MSG);

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
    const struct {
        const char* name;
        uint32_t id;
        const google::protobuf::Message* body;
        int command;
    } nest[] = {
        {"nest_cabin", qp::NEST_CABIN_CONTROL_MSG, &cabin, 1},
        {"nest_xrod", qp::NEST_XROD_CONTROL_MSG, &cabin, 2},
        {"nest_yrod", qp::NEST_YROD_CONTROL_MSG, &cabin, 3},
        {"nest_zrod", qp::NEST_ZROD_CONTROL_MSG, &cabin, 8},
        {"nest_charge", qp::NEST_CHARGE_CONTROL_MSG, &cabin, 18},
        {"nest_reset", qp::NEST_RESET_MSG, &reset, 17},
        {"nest_calibration_operation", qp::NEST_CALIBRATION_OPERATION_MSG, &calibrate, 9},
        {"nest_single_calibration", qp::NEST_SINGLE_CALIBRATION_MSG, &single, 10},
        {"nest_system_config", qp::NEST_SYSTEM_CONFIG_MSG, &systemConfig, 16},
        {"nest_turn_on_off", qp::NEST_TURN_ON_OFF_MSG, &cabin, 19},
        {"nest_ac", qp::NEST_AC_CONTROL_MSG, &cabin, 20},
        {"nest_scram", qp::NEST_SCRAM_CONTROL_MSG, &cabin, 21},
        {"nest_auto_command", qp::NEST_AUTO_COMMAND_MSG, &cabin, 48},
        {"nest_motor_to_zero", qp::NEST_MOTOR_TO_ZERO_MSG, &cabin, 7},
        {"nest_return_wait_time", qp::NEST_RETURN_WAIT_TIME_MSG, &waitTime, 24},
    };
    for (const auto& n : nest) {
        r.add(n.name, n.id, n.body, true, 182, n.command, n.id);
    }
    qp::NestVirtualPoleStateNtfy sticks;
    sticks.set_rightverticalvalue(100);
    sticks.set_leftverticalvalue(-100);
    sticks.set_lefthorizontalvalue(50);
    sticks.set_righthorizontalvalue(-50);
    sticks.set_generalkey(1);
    sticks.set_gimbalpitch(2);
    sticks.set_combinedkey(3);
    r.add("nest_virtual_sticks", qp::NEST_VIRTUAL_POLE_STATUS_NTFY, &sticks, true, 148, -1);

    qp::ParameterInt32 one;
    one.set_value(1);
    r.add("enter_calibration", qp::RC_ENTER_CALIBRATION_MSG, nullptr, true, 150, 13);
    r.add("exit_calibration", qp::RC_EXIT_CALIBRATION_MSG, nullptr, true, 150, 13);
    r.add("start_hardware_state", qp::RC_START_HARDWARE_STATE_NTFY_MSG, &one, true, 150, 14);

    qp::ParameterInt32 choice;
    choice.set_value(3);
    r.add("start_matching", qp::AIRLINK_START_MATCHING_MSG, nullptr, true, 200, 1);
    r.add("device_info_query", qp::RC_QUERY_DEVICE_INFO_MSG, nullptr, true, 219, -1);
    r.add("quick_match_choose", qp::RC_QUICK_MATCH_CHOOSE_CONNECT_MSG, &choice, true, 200, 7,
          qp::RC_QUICK_MATCH_CHOOSE_CONNECT_MSG);
    r.add("quick_match_clear_blacklist", qp::RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG, nullptr, true, 200, 8,
          qp::RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG);
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
