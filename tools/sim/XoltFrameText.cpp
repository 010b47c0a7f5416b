#include "XoltFrameText.h"

#include <sstream>

#include "msgHandle/AtCommandDefine.h"
#include "msgHandle/NestCommandDefine.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/xolt2Protobuf/RcKeyDefine.h"
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

template <size_t N>
const char* lookUp(const TCodeName (&table)[N], uint8_t code)
{
    for (const TCodeName& row : table) {
        if (row.code == code) {
            return row.name;
        }
    }
    return "unknown";
}

// Payload byte i, or 0 beyond the received length.
struct TPayload {
    const uint8_t* p;
    uint16_t len;
    unsigned at(uint16_t i) const { return i < len ? p[i] : 0; }
    bool has(uint16_t n) const { return len >= n; }
};

void describeRcRequest(std::ostringstream& out, const TPayload& pl)
{
    const uint8_t cmd = static_cast<uint8_t>(pl.at(0));
    out << "RC settings request " << CXoltFrameText::rcCommandName(cmd);
    switch (cmd) {
    case RC_CMD_SET_GIMBAL_SPEED:
        out << ": speed " << pl.at(2);
        break;
    case RC_CMD_SET_MODE:
        out << ": rocker mode " << pl.at(2);
        break;
    case RC_CMD_CALIBRATION:
        out << (pl.at(2) == RC_CALIBRATION_ENTER ? ": enter" : ": exit");
        break;
    case RC_CMD_RAW_DATA:
        out << ": stick upload " << (pl.at(2) != 0 ? "on" : "off") << " (" << pl.at(2) << ")";
        break;
    default:
        break;
    }
}

void describeRcAnswer(std::ostringstream& out, const TPayload& pl)
{
    const uint8_t type = static_cast<uint8_t>(pl.at(0));
    const uint8_t* d = pl.p + 2;
    out << "RC settings "
        << (type == RC_CMD_RAW_DATA || type == RC_CMD_GET_STATUS || type == RC_CMD_RC_CALIBRATION_STATUS_INFO
                ? "report "
                : "answer ")
        << CXoltFrameText::rcCommandName(type);
    if (!pl.has(3)) {
        return;
    }
    switch (type) {
    case RC_CMD_SET_GIMBAL_SPEED:
    case RC_CMD_SET_MODE:
        out << ": status " << pl.at(2);
        break;
    case RC_CMD_GET_GIMBAL_SPEED:
        out << ": speed " << pl.at(2);
        break;
    case RC_CMD_GET_MODE:
        out << ": rocker mode " << pl.at(2);
        break;
    case RC_CMD_CALIBRATION:
        out << ": result " << pl.at(2);
        break;
    case RC_CMD_RAW_DATA:
        if (pl.has(14)) {
            out << ": right " << rd_i16le(d) << "/" << rd_i16le(d + 2) << ", left " << rd_i16le(d + 4) << "/"
                << rd_i16le(d + 6) << ", wheel " << rd_i16le(d + 10);
        }
        break;
    case RC_CMD_GET_STATUS:
        out << ": power " << pl.at(2) << "%, rc signal " << pl.at(3) << ", dsp signal " << pl.at(4) << ", calibration "
            << pl.at(5) << ", battery " << pl.at(6) << " degC";
        if (pl.has(PHONE_SET_CHARGING_VOLTAGE_OFFSET + 2)) {
            out << ", charging " << rd_u16le(pl.p + PHONE_SET_CHARGING_VOLTAGE_OFFSET) << " mV";
        }
        break;
    case RC_CMD_RC_CALIBRATION_STATUS_INFO:
        out << ": length " << pl.at(1);
        break;
    default:
        break;
    }
}

void describeNestCommand(std::ostringstream& out, const TPayload& pl)
{
    const uint8_t cmd = static_cast<uint8_t>(pl.at(0));
    out << "nest command " << CXoltFrameText::nestCommandName(cmd);
    switch (cmd) {
    case NEST_CMD_HATCH_CONTROL:
    case NEST_CMD_LOCATION_ROD:
    case NEST_CMD_CHARGE_ROD:
    case NEST_CMD_PADDIES_ROD:
        out << ": type " << pl.at(1) << ", action " << pl.at(2);
        break;
    case NEST_CODE_SINGLE_CALIBRATION:
        out << ": component " << pl.at(3) << ", direction " << pl.at(4);
        break;
    case NEST_CMD_SYSTEM_CONFIG:
        if (pl.has(11)) {
            out << ": open limit " << pl.at(3) << ", close limit " << pl.at(4) << ", unix time " << rd_u32le(pl.p + 5)
                << ", auto discharge " << pl.at(9) << ", auto charge " << pl.at(10);
        }
        break;
    default:
        if (pl.len == 4) {
            out << ": action " << pl.at(3);
        }
        break;
    }
}

void describeAtCommand(std::ostringstream& out, const TPayload& pl, bool answer)
{
    const uint8_t code = static_cast<uint8_t>(pl.at(0));
    out << (answer ? "AT answer " : "AT command ") << lookUp(s_atCodes, code);
    if (code == AT_COMAND_QUICK_MATCH_CHOOSE_CONNECT && !answer) {
        out << ": choice " << pl.at(1);
    }
    if (code == PAIR_PROGRESS_REPORT && answer) {
        out << ": progress " << static_cast<int>(static_cast<int8_t>(pl.at(1))) << "%";
    }
}

void describeVersions(std::ostringstream& out, const TPayload& pl)
{
    out << "version answer";
    if (!pl.has(5)) {
        return;
    }
    static const char* const names[] = {"transmitter", "rc", "mcu", "motor"};
    uint16_t offset = 5;
    for (int i = 0; i < 4; ++i) {
        const uint8_t length = static_cast<uint8_t>(pl.at(static_cast<uint16_t>(1 + i)));
        std::string text;
        for (uint16_t k = 0; k < length && offset + k < pl.len; ++k) {
            text += static_cast<char>(pl.p[offset + k]);
        }
        offset = static_cast<uint16_t>(offset + length);
        out << (i == 0 ? ": " : ", ") << names[i] << " \"" << text << "\"";
    }
}

} // namespace

const char* CXoltFrameText::rcCommandName(uint8_t code)
{
    return lookUp(s_rcCodes, code);
}

const char* CXoltFrameText::nestCommandName(uint8_t code)
{
    return lookUp(s_nestCodes, code);
}

std::string CXoltFrameText::describe(const xolt_message_head_t& frame)
{
    const TPayload pl{xolt_payload(&frame), frame.len};
    const bool fromGateway = frame.sourceid == DEV_APP;
    std::ostringstream out;
    out << static_cast<int>(frame.msgid) << " ";
    switch (frame.msgid) {
    case XOLT_MSG_ID_DRONE_UTC_TIME_SYNC:
        out << "drone UTC time sync";
        if (pl.has(XOLT_MSG_LEN_DRONE_UTC_TIME_SYNC)) {
            out << ": gps_time " << rd_u64le(pl.p);
        }
        break;
    case XOLT_MSG_ID_NORMAL_MSG:
        if (fromGateway) {
            out << "command channel: command " << rd_u16le(pl.p);
            if (pl.has(XOLT_MSG_LEN_NORMAL_MSG) && rd_u16le(pl.p) == XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME) {
                out << " (RC system time): utc " << rd_i64le(pl.p + 2) << ", time zone " << rd_i32le(pl.p + 10);
            }
        } else {
            out << "acknowledgement of command " << rd_u16le(pl.p) << ": result " << pl.at(2);
        }
        break;
    case XOLT_MSG_ID_RC_KEY:
        out << "RC key event: key " << pl.at(0) << ", time " << pl.at(1) << ", value " << pl.at(2) << ", status "
            << pl.at(3);
        break;
    case XOLT_MSG_ID_NEST_VIRTUAL_STICK:
        out << "virtual stick for the nest";
        if (pl.has(XOLT_MSG_LEN_NEST_VIRTUAL_STICK)) {
            out << ": left h " << rd_i16le(pl.p) << ", right h " << rd_i16le(pl.p + 2) << ", right v "
                << rd_i16le(pl.p + 4) << ", left v " << rd_i16le(pl.p + 6) << ", key " << rd_u16le(pl.p + 8)
                << ", gimbal pitch " << rd_i16le(pl.p + 10) << ", combined key " << rd_u16le(pl.p + 12);
        }
        break;
    case XOLT_MSG_ID_RC_SETTINGS:
        if (fromGateway) {
            describeRcRequest(out, pl);
        } else {
            describeRcAnswer(out, pl);
        }
        break;
    case XOLT_MSG_ID_NEST_COMMON_COMMAND:
        if (fromGateway) {
            describeNestCommand(out, pl);
        } else {
            out << "nest report " << nestCommandName(static_cast<uint8_t>(pl.at(0))) << " ("
                << (pl.len > 0 ? pl.len - 1 : 0) << " record bytes)";
        }
        break;
    case XOLT_MSG_ID_NEST_COMMAND_ACK:
        out << "nest command acknowledgement " << nestCommandName(static_cast<uint8_t>(pl.at(0))) << ": result "
            << pl.at(1);
        break;
    case XOLT_MSG_ID_AT_COMMAND:
        describeAtCommand(out, pl, false);
        break;
    case XOLT_MSG_ID_AT_COMMAND_RESP:
        describeAtCommand(out, pl, true);
        break;
    case XOLT_SYSTEM_CMD_GET_VERSIONS:
        if (fromGateway) {
            out << "version query";
        } else {
            describeVersions(out, pl);
        }
        break;
    default:
        out << "message unknown to the gateway (" << pl.len << " payload bytes)";
        break;
    }
    out << " (seq " << static_cast<int>(frame.seq) << ")";
    return out.str();
}

std::string CXoltFrameText::hex(const uint8_t* data, size_t length)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(length * 3);
    for (size_t i = 0; i < length; ++i) {
        if (i != 0) {
            text += ' ';
        }
        text += digits[data[i] >> 4];
        text += digits[data[i] & 0x0F];
    }
    return text;
}

std::string CXoltFrameText::wireHex(const xolt_message_head_t& frame)
{
    return hex(xolt_wire_bytes(&frame), static_cast<size_t>(frame.len) + XOLT_NUM_NON_PAYLOAD_BYTES);
}
