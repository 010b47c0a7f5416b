#include "XoltFrameText.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "msgHandle/AtCommandDefine.h"
#include "msgHandle/NestCommandDefine.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltMessageDefine.h"

namespace {

struct TCodeName {
    uint8_t code;
    const char* name;
};

// s_rcCodes, s_nestCodes, s_atCodes: the sub-command names of msgids 150,
// 182/183 and 200/201, from the gateway's definitions.
#include "XoltCodeNames.h"

enum EFrom { E_GATEWAY, E_RADIO, E_EITHER };
constexpr uint8_t SETTINGS = XOLT_MSG_ID_RC_SETTINGS;
constexpr uint8_t NEST = XOLT_MSG_ID_NEST_COMMON_COMMAND;

// The line of a frame by msgid, direction and sub-command (the first
// payload byte; none listed: any); the first row that fits is taken. In the
// text, {OFFSET:TYPE} is the payload field at OFFSET: a little-endian
// integer (u8, i8, u16, i16, u32, i32, u64, i64), the name of a sub-command
// code (rc, nest, at), the calibration switch (calibration), or the four
// version strings whose lengths follow the device type (versions); {length}
// is the payload's length. When a field lies beyond the payload, the line
// ends before its first ": ".
struct TFrameLine {
    uint8_t msgid;
    EFrom from;
    std::vector<int> subs;
    const char* text;
};

const TFrameLine s_lines[] = {
    {XOLT_MSG_ID_DRONE_UTC_TIME_SYNC, E_EITHER, {}, "drone UTC time sync: gps_time {0:u64}"},
    {XOLT_MSG_ID_NORMAL_MSG,
     E_GATEWAY,
     {XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME},
     "command channel: command {0:u16} (RC system time): utc {2:i64}, time zone {10:i32}"},
    {XOLT_MSG_ID_NORMAL_MSG, E_GATEWAY, {}, "command channel: command {0:u16}"},
    {XOLT_MSG_ID_NORMAL_MSG, E_RADIO, {}, "acknowledgement of command {0:u16}: result {2:u8}"},
    {XOLT_MSG_ID_RC_KEY, E_EITHER, {}, "RC key event: key {0:u8}, time {1:u8}, value {2:u8}, status {3:u8}"},
    {XOLT_MSG_ID_NEST_VIRTUAL_STICK,
     E_EITHER,
     {},
     "virtual stick for the nest: left h {0:i16}, right h {2:i16}, right v {4:i16}, left v {6:i16}, key {8:u16}, "
     "gimbal pitch {10:i16}, combined key {12:u16}"},
    {SETTINGS, E_GATEWAY, {RC_CMD_SET_GIMBAL_SPEED}, "RC settings request {0:rc}: speed {2:u8}"},
    {SETTINGS, E_GATEWAY, {RC_CMD_SET_MODE}, "RC settings request {0:rc}: rocker mode {2:u8}"},
    {SETTINGS, E_GATEWAY, {RC_CMD_CALIBRATION}, "RC settings request {0:rc}: {2:calibration}"},
    {SETTINGS, E_GATEWAY, {RC_CMD_RAW_DATA}, "RC settings request {0:rc}: stick upload {2:u8}"},
    {SETTINGS, E_GATEWAY, {}, "RC settings request {0:rc}"},
    {SETTINGS, E_RADIO, {RC_CMD_SET_GIMBAL_SPEED, RC_CMD_SET_MODE}, "RC settings answer {0:rc}: status {2:u8}"},
    {SETTINGS, E_RADIO, {RC_CMD_GET_GIMBAL_SPEED}, "RC settings answer {0:rc}: speed {2:u8}"},
    {SETTINGS, E_RADIO, {RC_CMD_GET_MODE}, "RC settings answer {0:rc}: rocker mode {2:u8}"},
    {SETTINGS, E_RADIO, {RC_CMD_CALIBRATION}, "RC settings answer {0:rc}: result {2:u8}"},
    {SETTINGS,
     E_RADIO,
     {RC_CMD_RAW_DATA},
     "RC settings report {0:rc}: right {2:i16}/{4:i16}, left {6:i16}/{8:i16}, wheel {12:i16}"},
    {SETTINGS,
     E_RADIO,
     {RC_CMD_GET_STATUS},
     "RC settings report {0:rc}: power {2:u8}%, rc signal {3:u8}, dsp signal {4:u8}, calibration {5:u8}, battery "
     "{6:u8} degC, charging {120:u16} mV"},
    {SETTINGS, E_RADIO, {RC_CMD_RC_CALIBRATION_STATUS_INFO}, "RC settings report {0:rc}: length {1:u8}"},
    {SETTINGS, E_RADIO, {}, "RC settings answer {0:rc}"},
    {NEST,
     E_GATEWAY,
     {NEST_CMD_HATCH_CONTROL, NEST_CMD_LOCATION_ROD, NEST_CMD_CHARGE_ROD, NEST_CMD_PADDIES_ROD},
     "nest command {0:nest}: type {1:u8}, action {2:u8}"},
    {NEST, E_GATEWAY, {NEST_CODE_SINGLE_CALIBRATION}, "nest command {0:nest}: component {3:u8}, direction {4:u8}"},
    {NEST,
     E_GATEWAY,
     {NEST_CMD_SYSTEM_CONFIG},
     "nest command {0:nest}: open limit {3:u8}, close limit {4:u8}, unix time {5:u32}, auto discharge {9:u8}, auto "
     "charge {10:u8}"},
    {NEST, E_GATEWAY, {}, "nest command {0:nest}: action {3:u8}"},
    {NEST, E_RADIO, {}, "nest report {0:nest} ({length} payload bytes)"},
    {XOLT_MSG_ID_NEST_COMMAND_ACK, E_EITHER, {}, "nest command acknowledgement {0:nest}: result {1:u8}"},
    {XOLT_MSG_ID_AT_COMMAND, E_EITHER, {AT_COMAND_QUICK_MATCH_CHOOSE_CONNECT}, "AT command {0:at}: choice {1:u8}"},
    {XOLT_MSG_ID_AT_COMMAND, E_EITHER, {}, "AT command {0:at}"},
    {XOLT_MSG_ID_AT_COMMAND_RESP, E_EITHER, {PAIR_PROGRESS_REPORT}, "AT answer {0:at}: progress {1:i8}%"},
    {XOLT_MSG_ID_AT_COMMAND_RESP, E_EITHER, {}, "AT answer {0:at}"},
    {XOLT_SYSTEM_CMD_GET_VERSIONS, E_GATEWAY, {}, "version query"},
    {XOLT_SYSTEM_CMD_GET_VERSIONS, E_RADIO, {}, "version answer: {0:versions}"},
};

template <size_t N>
const char* codeName(const TCodeName (&table)[N], uint8_t code)
{
    for (const TCodeName& row : table) {
        if (row.code == code) {
            return row.name;
        }
    }
    return "unknown";
}

// transmitter "TX-1.4.2", rc "RC-2.0.7", ...: the four lengths at bytes
// 1..4, the strings from byte 5 on; false when cut short.
bool versions(const uint8_t* payload, uint16_t length, std::string& out)
{
    static const char* const names[] = {"transmitter", "rc", "mcu", "motor"};
    size_t offset = 5;
    for (int i = 0; i < 4 && length >= 5; ++i) {
        const size_t n = std::min<size_t>(payload[1 + i], offset < length ? length - offset : 0);
        out += std::string(i == 0 ? "" : ", ") + names[i] + " \"" +
               std::string(reinterpret_cast<const char*>(payload) + offset, n) + "\"";
        offset += payload[1 + i];
    }
    return length >= 5;
}

// The text of one {OFFSET:TYPE} field; false when it lies beyond the payload.
bool field(const uint8_t* p, uint16_t length, size_t offset, const std::string& type, std::string& out)
{
    if (type == "versions") {
        return versions(p, length, out);
    }
    const size_t size = static_cast<size_t>(atoi(type.c_str() + 1)) / 8; // u8 ... i64; 0 for the names
    if (offset + std::max<size_t>(size, 1) > length) {
        return false;
    }
    if (size == 0) {
        out += type == "rc"     ? codeName(s_rcCodes, p[offset])
               : type == "nest" ? codeName(s_nestCodes, p[offset])
               : type == "at"   ? codeName(s_atCodes, p[offset])
                                : (p[offset] == RC_CALIBRATION_ENTER ? "enter" : "exit");
        return true;
    }
    uint64_t value = 0;
    for (size_t k = size; k-- > 0;) {
        value = value << 8 | p[offset + k];
    }
    // A signed field: its top bit extended.
    const unsigned shift = 64 - 8 * static_cast<unsigned>(size);
    out += type[0] == 'i' ? std::to_string(static_cast<int64_t>(value << shift) >> shift) : std::to_string(value);
    return true;
}

} // namespace

std::string CXoltFrameText::describe(const xolt_message_head_t& frame)
{
    const EFrom from = frame.sourceid == DEV_APP ? E_GATEWAY : E_RADIO;
    const uint8_t* payload = xolt_payload(&frame);
    const int sub = frame.len > 0 ? payload[0] : -1;
    const char* text = "message unknown to the gateway ({length} payload bytes)";
    for (const TFrameLine& line : s_lines) {
        if (line.msgid == frame.msgid && (line.from == from || line.from == E_EITHER) &&
            (line.subs.empty() || std::find(line.subs.begin(), line.subs.end(), sub) != line.subs.end())) {
            text = line.text;
            break;
        }
    }
    std::string out = std::to_string(frame.msgid) + " ";
    bool whole = true;
    for (const char* c = text; *c != '\0'; ++c) {
        const char* close = *c == '{' ? strchr(c, '}') : nullptr;
        if (close == nullptr) {
            out += *c;
            continue;
        }
        const std::string name(c + 1, close);
        if (name == "length") {
            out += std::to_string(frame.len);
        } else if (!field(payload, frame.len, strtoul(name.c_str(), nullptr, 10), name.substr(name.find(':') + 1),
                          out)) {
            whole = false;
        }
        c = close;
    }
    if (!whole) {
        out.resize(std::min(out.size(), out.find(": ")));
    }
    return out + " (seq " + std::to_string(frame.seq) + ")";
}

std::string CXoltFrameText::datagram(const std::string& prefix, const uint8_t* data, size_t length)
{
    std::string out;
    frames(data, length, [&out, &prefix](const xolt_message_head_t& frame, bool crcGood) {
        out += prefix + describe(frame) + (crcGood ? "\n" : " (bad CRC)\n");
    });
    if (out.empty()) {
        out = prefix + "not a link frame (" + std::to_string(length) + " bytes)\n";
    }
    return out + "    " + hex(data, length) + "\n";
}

std::string CXoltFrameText::hex(const uint8_t* data, size_t length)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        text += i == 0 ? "" : " ";
        text += digits[data[i] >> 4];
        text += digits[data[i] & 0x0F];
    }
    return text;
}

void CXoltFrameText::frames(const uint8_t* data, size_t length,
                            const std::function<void(const xolt_message_head_t& frame, bool crcGood)>& each)
{
    xolt_message_head_t buffer{};
    xolt_status_t status{};
    xolt_message_head_t frame{};
    for (size_t i = 0; i < length; ++i) {
        const uint8_t result = xolt_frame_char_buffer(&buffer, &status, data[i], &frame);
        if (result == XOLT_FRAMING_INCOMPLETE) {
            continue;
        }
        const uint8_t* payload = xolt_payload(&frame);
        uint16_t crc =
            crc_calculate(xolt_wire_bytes(&frame) + 1, static_cast<uint16_t>(XOLT_HEADER_LEN - 1 + frame.len));
        crc_accumulate(XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED, &crc);
        const bool setGimbalSpeed = frame.msgid == XOLT_MSG_ID_RC_SETTINGS && frame.len >= 1 &&
                                    payload[0] == RC_CMD_SET_GIMBAL_SPEED && rd_u16le(payload + frame.len) == crc;
        each(frame, result == XOLT_FRAMING_OK || setGimbalSpeed);
    }
}
