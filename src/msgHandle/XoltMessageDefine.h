#ifndef LUMBRIX_XOLT_MESSAGE_DEFINE_H
#define LUMBRIX_XOLT_MESSAGE_DEFINE_H

#include <cstdint>

// The link messages the gateway sends and receives: identity bytes, message
// ids, CRC extras and fixed payload lengths. Payload layouts belong to the
// handlers that build or read them. Every frame the gateway builds carries
// sourceid DEV_APP and is sent to the radio side.

// Component ids, the values of a frame's destid and sourceid.
enum XOLT_COMPONENT : uint8_t {
    DEV_RC = 14,   // the RC's own controller firmware
    DEV_APP = 32,  // the gateway, speaking for the App
    DEV_NEST = 35, // the drone nest
};

// Message ids.
constexpr uint8_t XOLT_MSG_ID_DRONE_UTC_TIME_SYNC = 24;  // to the RC
constexpr uint8_t XOLT_MSG_ID_NORMAL_MSG = 110;          // command channel to the RC, and its acknowledgement
constexpr uint8_t XOLT_MSG_ID_RC_KEY = 144;              // RC key event, from the RC
constexpr uint8_t XOLT_MSG_ID_NEST_VIRTUAL_STICK = 148;  // stick state, to the nest
constexpr uint8_t XOLT_MSG_ID_RC_SETTINGS = 150;         // RC settings request and response
constexpr uint8_t XOLT_MSG_ID_NEST_COMMON_COMMAND = 182; // nest command to the nest, nest report from it
constexpr uint8_t XOLT_MSG_ID_NEST_COMMAND_ACK = 183;    // nest command acknowledgement
constexpr uint8_t XOLT_MSG_ID_AT_COMMAND = 200;          // AT command
constexpr uint8_t XOLT_MSG_ID_AT_COMMAND_RESP = 201;     // AT command response
constexpr uint8_t XOLT_SYSTEM_CMD_GET_VERSIONS = 219;    // version query and its answer

// CRC extras, one per message id; each equals its entry of xolt_message_crcs.
constexpr uint8_t XOLT_MSG_CRC_DRONE_UTC_TIME_SYNC = 128;
constexpr uint8_t XOLT_MSG_CRC_NORMAL_MSG = 183;
constexpr uint8_t XOLT_MSG_CRC_RC_KEY = 224;
constexpr uint8_t XOLT_MSG_CRC_NEST_VIRTUAL_STICK = 237;
constexpr uint8_t XOLT_MSG_CRC_RC_SETTINGS = 36;
constexpr uint8_t XOLT_MSG_CRC_NEST_COMMON_COMMAND = 59;
constexpr uint8_t XOLT_MSG_CRC_NEST_COMMAND_ACK = 123;
constexpr uint8_t XOLT_MSG_CRC_AT_COMMAND = 131;
constexpr uint8_t XOLT_MSG_CRC_AT_COMMAND_RESP = 47;
constexpr uint8_t XOLT_MSG_CRC_GET_VERSIONS = 0;
// The set-gimbal-speed request is finalised with its msgid instead of 36, so
// the RC settings table entry does not accept it. Sent exactly so.
constexpr uint8_t XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED = 150;

// Payload lengths of the frames the gateway builds (the nest command's
// length depends on the command).
constexpr uint16_t XOLT_MSG_LEN_DRONE_UTC_TIME_SYNC = 8;
constexpr uint16_t XOLT_MSG_LEN_NORMAL_MSG = 14;
constexpr uint16_t XOLT_MSG_LEN_NEST_VIRTUAL_STICK = 14;
constexpr uint16_t XOLT_MSG_LEN_RC_SETTINGS = 3;
constexpr uint16_t XOLT_MSG_LEN_AT_COMMAND = 3;
constexpr uint16_t XOLT_MSG_LEN_AT_COMMAND_CHOOSE_CONNECT = 101;
constexpr uint16_t XOLT_MSG_LEN_GET_VERSIONS = 0;

// Command id at the start of a command-channel payload: RC system time.
constexpr uint16_t XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME = 78;

#endif
