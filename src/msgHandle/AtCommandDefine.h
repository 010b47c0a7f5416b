#ifndef LUMBRIX_AT_COMMAND_DEFINE_H
#define LUMBRIX_AT_COMMAND_DEFINE_H

#include <cstdint>

// The AT command channel between the gateway and the radio's link
// management: requests go out as link msgid 200, answers and pairing progress
// come back as msgid 201. Byte 0 of both payloads is the command type.

enum AT_COMAND_TYPE : uint8_t {
    REQUEST_PAIR = 1,
    SET_FREQ_BAND = 2,
    SET_PHOTO_MODE = 3,
    SET_FCC_MODE = 4,
    SET_ELOG_SWITCH = 5,
    PAIR_PROGRESS_REPORT = 6,
    AT_COMAND_TYPE_ENUM_END = 7,
};

// Quick-match commands. They lie beyond AT_COMAND_TYPE and are sent as these
// numbers.
constexpr uint8_t AT_COMAND_QUICK_MATCH_CHOOSE_CONNECT = 7;
constexpr uint8_t AT_COMAND_QUICK_MATCH_CLEAR_BLACKLIST = 8;
// Quick-match commands go to component 35, the pairing request to the RC (14).
constexpr uint8_t AT_COMAND_QUICK_MATCH_DESTID = 35;

// Answer record at the start of a msgid 201 payload: the command type, then
// its data. For PAIR_PROGRESS_REPORT, data[0] is the progress, a signed byte.
constexpr uint16_t AT_COMAND_RESP_DATA_LEN = 50;
constexpr uint16_t AT_COMAND_RESP_LEN = 1 + AT_COMAND_RESP_DATA_LEN;
constexpr uint16_t AT_COMAND_RESP_MSG_ID_OFFSET = 0;
constexpr uint16_t AT_COMAND_RESP_DATA_OFFSET = 1;

#endif
