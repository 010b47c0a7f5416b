#include "kit/SampleTraffic.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "kit/TestMessages.h"
#include "msgHandle/AtCommandDefine.h"
#include "msgHandle/NestCommandDefine.h"
#include "msgHandle/NestCommandTable.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/XoltMessageDefine.h"

namespace qp = quelby::protocol;

namespace {

constexpr int64_t kSilent = -1; // nothing comes of it
constexpr uint8_t kSettings = XOLT_MSG_ID_RC_SETTINGS;
constexpr uint8_t kNest = XOLT_MSG_ID_NEST_COMMON_COMMAND;
constexpr uint8_t kNestAck = XOLT_MSG_ID_NEST_COMMAND_ACK;
constexpr uint8_t kAt = XOLT_MSG_ID_AT_COMMAND_RESP;
constexpr uint8_t kVersions = XOLT_SYSTEM_CMD_GET_VERSIONS;

// A row of either table. A frame from the radio side: its msgid, its payload
// as the tests write bytes, the App message_id the gateway answers it with,
// the pending-request queue it takes from and whether it takes without
// looking. An App request: its id, its body ("TYPE {TEXT}", empty for none),
// the frame it becomes (link msgid; its first payload byte, -1 for any), the
// queue it waits in and the sample frame that answers it. kSilent: nothing
// comes of it.
struct TRow {
    const char* name;
    uint32_t id;
    const char* text;
    int64_t answer;
    int sub = -1;
    uint32_t queueKey = 0;
    const char* answeredBy = "";
    bool popsWithoutLooking = false;
};

// Payloads: the command channel's acknowledgements (command, u16, then the
// result); key events (key, press time, wheel value, status, 4 bytes); the
// RC settings' 24-byte records (type, length, data); nest reports (type,
// then the record, filled with 40, 41, ...); AT answers (command, data);
// version answers (device type, four lengths, the strings back to back).
const TRow s_frames[] = {
    {"ack_system_time_ok", XOLT_MSG_ID_NORMAL_MSG, "4e 00 00", qp::RC_SYSTEM_TIME_MSG, -1, qp::RC_SYSTEM_TIME_MSG},
    {"ack_system_time_error", XOLT_MSG_ID_NORMAL_MSG, "4e 00 03", qp::RC_SYSTEM_TIME_MSG, -1, qp::RC_SYSTEM_TIME_MSG},
    {"ack_other_command", XOLT_MSG_ID_NORMAL_MSG, "4d 00 00", kSilent},
    {"rc_key_photo", XOLT_MSG_ID_RC_KEY, "04 01 05 02 ~8", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"rc_key_record", XOLT_MSG_ID_RC_KEY, "05 01 05 02 ~8", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"rc_key_left_custom", XOLT_MSG_ID_RC_KEY, "07 01 05 02 ~8", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"rc_key_right_custom", XOLT_MSG_ID_RC_KEY, "08 01 05 02 ~8", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"rc_key_zoom_in", XOLT_MSG_ID_RC_KEY, "09 01 05 02 ~8", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"rc_key_zoom_out", XOLT_MSG_ID_RC_KEY, "0a 01 05 02 ~8", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"rc_key_photo_record", XOLT_MSG_ID_RC_KEY, "0b 01 05 02 ~8", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"rc_key_6_unsupported", XOLT_MSG_ID_RC_KEY, "06 01 05 02 ~8", kSilent},
    {"rc_set_gimbal_speed_ack", kSettings, "01 01 00 ~24", qp::PARAM_SET_MSG},
    {"rc_get_gimbal_speed_ack", kSettings, "02 01 32 ~24", qp::PARAM_GET_MSG},
    {"rc_calibration_ack", kSettings, "0d 01 01 ~24", kStateDependentAnswer},
    {"rc_raw_sticks", kSettings, "0e 0c 1000 f0ff 2000 e0ff 0000 0500 ~24", qp::RC_HARDWARE_STATE_NTFY},
    {"rc_battery", kSettings, "0f 05 50 5a 5f 01 1e ~24", qp::RC_STATE_NTFY},
    {"rc_set_mode_ack", kSettings, "12 01 00 ~24", qp::PARAM_SET_MSG},
    {"rc_get_mode_answer", kSettings, "13 01 02 ~24", qp::PARAM_GET_MSG, -1, qp::PARAM_GET_MSG, "", true},
    {"rc_calibration_status_17", kSettings, "19 11 01000000 02000000 03000000 04000000 01 ~24",
     qp::RC_ROCKER_CALIBRATION_STATE_NTFY},
    {"rc_calibration_status_13", kSettings, "19 0d 01000000 02000000 04000000 01 ~24",
     qp::RC_ROCKER_CALIBRATION_STATE_NTFY},
    {"rc_calibration_status_bad_length", kSettings, "19 05 ~24", kSilent},
    {"rc_battery_info_ignored", kSettings, "1e 01 ~24", kSilent},
    {"rc_language_unsupported", kSettings, "03 01 ~24", kSilent},
    {"rc_settings_short", kSettings, "0f", qp::RC_STATE_NTFY},
    {"nest_report_status", kNest, "20 40..b4", kStateDependentAnswer},
    {"nest_report_battery_dynamic", kNest, "21 40..7e", kStateDependentAnswer},
    {"nest_report_battery_static", kNest, "22 40..7e", kStateDependentAnswer},
    {"nest_report_battery_backup", kNest, "23 40..7e", kStateDependentAnswer},
    {"nest_report_motor_driver", kNest, "25 40..7e", kStateDependentAnswer},
    {"nest_report_zrod_ready", kNest, "27 40..7e", kStateDependentAnswer},
    {"nest_report_self_check", kNest, "28 40..7e", kStateDependentAnswer},
    {"nest_report_auto_task_end", kNest, "31 40..7e", kStateDependentAnswer},
    {"nest_report_heartbeat", kNest, "40 40..7e", kStateDependentAnswer},
    {"nest_ack_1_error", kNestAck, "01 07", qp::NEST_CABIN_CONTROL_MSG, -1, qp::NEST_CABIN_CONTROL_MSG},
    {"nest_ack_22_unanswered", kNestAck, "16 00", kSilent},
    {"at_pair_answer", kAt, "01 00 ~51", qp::AIRLINK_START_MATCHING_MSG},
    {"at_setting_2", kAt, "02 00 ~51", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"at_setting_3", kAt, "03 00 ~51", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"at_setting_4", kAt, "04 00 ~51", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"at_setting_5", kAt, "05 00 ~51", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"at_pair_progress", kAt, "06 32 ~51", qp::AIRLINK_MATCHING_STATUS_NTFY},
    {"at_pair_progress_negative", kAt, "06 ff ~51", qp::AIRLINK_MATCHING_STATUS_NTFY},
    {"at_unsupported", kAt, "07 00 ~51", kSilent},
    {"versions", kVersions, R"(01 06 05 04 03 "T1.2.3R1.0.M2.0X01")", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"versions_only_rc", kVersions, R"(01 00 08 00 00 "RC-2.0.7")", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"versions_too_long", kVersions, R"(01 1e 19 15 28 "V"*116)", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"versions_past_payload", kVersions, R"(01 c8 c8 c8 c8 "V"*3)", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
    {"versions_empty", kVersions, "", qp::RC_HARDWARE_BUTTON_INFO_NTFY},
};

// The parameter requests' data is a ParameterInt32 (0: empty).
const TRow s_requests[] = {
    {"get_gimbal_speed", qp::PARAM_GET_MSG,
     "DroneParamMessageRequest {params_list {param_id: GIMBAL_PITCH_SPEED_MSG param_type: INT32 data {}}}", kSettings,
     RC_CMD_GET_GIMBAL_SPEED, 0, "rc_get_gimbal_speed_ack"},
    {"get_rocker_mode", qp::PARAM_GET_MSG,
     "DroneParamMessageRequest {params_list {param_id: RC_ROCKER_CONTROL_MODE_MSG param_type: INT32 data {}}}",
     kSettings, RC_CMD_GET_MODE, qp::PARAM_GET_MSG, "rc_get_mode_answer"},
    {"get_both", qp::PARAM_GET_MSG,
     "DroneParamMessageRequest {params_list {param_id: GIMBAL_PITCH_SPEED_MSG param_type: INT32 data {}} "
     "params_list {param_id: RC_ROCKER_CONTROL_MODE_MSG param_type: INT32 data {}}}",
     kSettings, RC_CMD_GET_GIMBAL_SPEED, qp::PARAM_GET_MSG},
    {"get_unsupported_type", qp::PARAM_GET_MSG,
     "DroneParamMessageRequest {params_list {param_id: GIMBAL_PITCH_SPEED_MSG param_type: UINT8 data {}}}", kSilent},
    {"set_gimbal_speed", qp::PARAM_SET_MSG,
     "DroneParamMessageRequest {params_list {param_id: GIMBAL_PITCH_SPEED_MSG param_type: INT32 "
     R"(data {value: "\x08\x85\x86\x88\x08"}}})", // 0x01020305
     kSettings, RC_CMD_SET_GIMBAL_SPEED, 0, "rc_set_gimbal_speed_ack"},
    {"set_rocker_mode", qp::PARAM_SET_MSG,
     "DroneParamMessageRequest {params_list {param_id: RC_ROCKER_CONTROL_MODE_MSG param_type: INT32 "
     R"(data {value: "\x08\x02"}}})",
     kSettings, RC_CMD_SET_MODE, 0, "rc_set_mode_ack"},
    {"set_unknown_parameter", qp::PARAM_SET_MSG,
     "DroneParamMessageRequest {params_list {param_id: FCS_MAX_HEIGHT_MSG param_type: INT32 "
     R"(data {value: "\x08\x02"}}})",
     kSilent},
    {"utc_time_sync", qp::DRONE_UTC_TIME_SYNC_NTFY, "DroneUTCTimeSync {gps_time: 0x0102030405060708}",
     XOLT_MSG_ID_DRONE_UTC_TIME_SYNC, 0x08},
    {"rc_system_time", qp::RC_SYSTEM_TIME_MSG, "SystemTimeInfo {utctimeinterval: 1700000000000 timezone: -5}",
     XOLT_MSG_ID_NORMAL_MSG, XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME & 0xFF, qp::RC_SYSTEM_TIME_MSG, "ack_system_time_ok"},
    {"nest_virtual_sticks", qp::NEST_VIRTUAL_POLE_STATUS_NTFY,
     "NestVirtualPoleStateNtfy {rightverticalvalue: 100 leftverticalvalue: -100 lefthorizontalvalue: 50 "
     "righthorizontalvalue: -50 generalkey: 1 gimbalpitch: 2 combinedkey: 3}",
     XOLT_MSG_ID_NEST_VIRTUAL_STICK},
    {"enter_calibration", qp::RC_ENTER_CALIBRATION_MSG, "", kSettings, RC_CMD_CALIBRATION, 0, "rc_calibration_ack"},
    {"exit_calibration", qp::RC_EXIT_CALIBRATION_MSG, "", kSettings, RC_CMD_CALIBRATION, 0, "rc_calibration_ack"},
    {"start_hardware_state", qp::RC_START_HARDWARE_STATE_NTFY_MSG, "ParameterInt32 {value: 1}", kSettings,
     RC_CMD_RAW_DATA},
    {"start_matching", qp::AIRLINK_START_MATCHING_MSG, "", XOLT_MSG_ID_AT_COMMAND, REQUEST_PAIR, 0, "at_pair_answer"},
    {"device_info_query", qp::RC_QUERY_DEVICE_INFO_MSG, "", XOLT_SYSTEM_CMD_GET_VERSIONS, -1, 0, "versions"},
    {"quick_match_choose", qp::RC_QUICK_MATCH_CHOOSE_CONNECT_MSG, "ParameterInt32 {value: 3}", XOLT_MSG_ID_AT_COMMAND,
     AT_COMAND_QUICK_MATCH_CHOOSE_CONNECT, qp::RC_QUICK_MATCH_CHOOSE_CONNECT_MSG},
    {"quick_match_clear_blacklist", qp::RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG, "", XOLT_MSG_ID_AT_COMMAND,
     AT_COMAND_QUICK_MATCH_CLEAR_BLACKLIST, qp::RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG},
};

// The nest commands' bodies: a NestCommand unless the command has its own.
const std::map<uint32_t, const char*> s_nestBodies = {
    {qp::NEST_RESET_MSG, "NestResetCommand {nesttype: 1}"},
    {qp::NEST_CALIBRATION_OPERATION_MSG, "NestCalibrateOperation {nesttype: 1 nestaction: 1}"},
    {qp::NEST_SINGLE_CALIBRATION_MSG, "NestSingleCalibration {nesttype: 1 nestcomponents: 2 direction: 1}"},
    {qp::NEST_SYSTEM_CONFIG_MSG, "NestSystemConfig {nesttype: 1 airopenlimit: 30 aircloselimit: 20 "
                                 "unixtime: 0x12345678 autodischarge: 1 autocharge: 1}"},
    {qp::NEST_RETURN_WAIT_TIME_MSG, "NestWaitTime {waittime: 30}"},
};

// Every command of the gateway's nest command table.
std::vector<TNestCommand> nestCommands()
{
    std::vector<TNestCommand> out;
    for (int command = 0; command < 256; ++command) {
        if (const TNestCommand* row = findNestCommand(static_cast<uint8_t>(command))) {
            out.push_back(*row);
        }
    }
    return out;
}

// A datagram of the radio side from the nest or the RC, as its msgid says.
std::string radioSideFrame(uint8_t seq, uint8_t msgid, const std::string& payload)
{
    const uint8_t source = msgid == kNest || msgid == kNestAck ? DEV_NEST : DEV_RC;
    return ::radioSideFrame(seq, source, msgid, std::vector<uint8_t>(payload.begin(), payload.end()));
}

// A row as the kit hands it out.
TSampleMessage sample(const TRow& row, const std::string& bytes)
{
    const bool answered = row.answer != kSilent;
    const uint32_t answerId = answered ? static_cast<uint32_t>(row.answer) : 0;
    return {row.name, bytes, row.id, answered, answerId, row.sub, row.queueKey, row.popsWithoutLooking, row.answeredBy};
}

// The envelope of a request row, with message_sequence sequence.
std::string request(const TRow& row, int32_t sequence)
{
    const std::unique_ptr<google::protobuf::Message> body = messageOf(row.text);
    if (*row.text != '\0' && !body) {
        fprintf(stderr, "sample request %s: the body does not parse\n", row.name);
        abort();
    }
    qp::QuelbyMessage envelope;
    fillAppEnvelope(envelope, row.id, sequence, body.get());
    return envelope.SerializeAsString();
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

std::vector<TSampleMessage> sampleRadioFrames(uint8_t seq)
{
    std::vector<TSampleMessage> out;
    for (const TRow& row : s_frames) {
        out.push_back(sample(row, radioSideFrame(seq, row.id, bytesOf(row.text))));
    }
    for (const TNestCommand& c : nestCommands()) {
        const std::string name = "nest_ack_" + std::to_string(c.command);
        const std::string payload({static_cast<char>(c.command), 0, 0, 0});
        out.push_back(
            sample({name.c_str(), kNestAck, "", c.answer, -1, c.request}, radioSideFrame(seq, kNestAck, payload)));
    }
    return out;
}

std::vector<TSampleMessage> sampleAppRequests(int32_t sequence)
{
    std::vector<TSampleMessage> out;
    for (const TRow& row : s_requests) {
        out.push_back(sample(row, request(row, sequence)));
    }
    for (const TNestCommand& c : nestCommands()) {
        const auto own = s_nestBodies.find(c.request);
        const std::string name = "nest_" + std::to_string(c.command);
        const std::string answeredBy = "nest_ack_" + std::to_string(c.command);
        const char* body = own != s_nestBodies.end() ? own->second : "NestCommand {nesttype: 1 nestaction: 2}";
        const TRow row{name.c_str(), c.request, body, kNest, c.command, c.request, answeredBy.c_str()};
        if (c.request != 0) {
            out.push_back(sample(row, request(row, sequence)));
        }
    }
    return out;
}

std::vector<TSampleMessage> sampleConfigurations()
{
    std::vector<TSampleMessage> out;
    auto add = [&out](const std::string& name, const std::string& text) {
        out.emplace_back();
        out.back().name = name;
        out.back().bytes = text;
    };
#ifdef LUMBRIX_SOURCE_DIR
    std::ifstream in(std::string(LUMBRIX_SOURCE_DIR) + "/config/lumbrix.json");
    std::stringstream shipped;
    shipped << in.rdbuf();
    if (!shipped.str().empty()) {
        add("shipped_example", shipped.str());
    }
#endif
    add("every_key", R"({
  "serviceEntity": [
    {"enable": true, "socketType": 2, "protocolType": "xolt", "listenIp": "127.0.0.1", "listenPort": 25100},
    {"socketType": 1, "protocolType": "protobuf", "listenIp": "127.0.0.1", "listenPort": 25200},
    {"enable": false, "socketType": 2}
  ],
  "clientEntity": [
    {"enable": true, "serviceName": "transmit", "serviceId": 2, "socketType": "udp", "remoteIp": "127.0.0.1",
     "remotePort": 25101, "localIp": "", "localPort": 0},
    {"serviceName": "app", "serviceId": 0, "socketType": "udp", "remoteIp": "127.0.0.1", "remotePort": 25201}
  ],
  "log": {"level": "Debug", "file": "log/aiService.log", "fileCnt": 3, "logMode": 1, "logExternalEnable": true,
          "logExternalPath": "card/", "logExternalImagePath": "card/images/", "logTransmitUrl": "log/",
          "fileSize": 100, "totalSize": 1000, "minFileCnt": 2}
}
)");
    add("log_mode_0", R"({"log": {"level": "Warn", "file": "x.log", "fileCnt": 2, "fileSize": 64}})");
    add("empty_object", "{}");
    add("large_numbers", R"({"serviceEntity": [{"socketType": 18446744073709551615, "protocolType": "xolt",
 "listenIp": "0.0.0.0", "listenPort": -9223372036854775808}], /* comment */ "log": {"fileCnt": 4294967298}})");
    add("wrong_types", R"({"clientEntity": {"serviceId": "2"}, "log": {"level": 2}})");
    return out;
}
