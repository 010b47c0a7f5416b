#ifndef LUMBRIX_RC_COMMAND_DEFINE_H
#define LUMBRIX_RC_COMMAND_DEFINE_H

#include <cstdint>

// The RC settings channel (link msgid 150) between the gateway and the RC's
// controller firmware. One msgid carries many sub-commands, told apart by the
// first payload byte.
//
// Requests the gateway sends (3 payload bytes): RC_CMD code, value width or
// flag, value. Answers and status reports the firmware sends: the phone-set
// record below, whose type byte is a PHONE_SET_TYPE (the same numbers as the
// RC_CMD codes of the requests they answer).

// Sub-command codes of the requests.
enum RC_CMD : uint8_t {
    RC_CMD_SET_GIMBAL_SPEED = 1,
    RC_CMD_GET_GIMBAL_SPEED = 2,
    RC_CMD_CALIBRATION = 13,
    RC_CMD_RAW_DATA = 14,
    RC_CMD_GET_STATUS = 15,
    RC_CMD_SET_MODE = 18,
    RC_CMD_GET_MODE = 19,
    RC_CMD_RC_CALIBRATION_STATUS_INFO = 25,
    RC_CMD_BATTERY_INFO = 30,
    RC_CMD_RF_INFO = 31,
    RC_CMD_SMBUS_INFO = 32,
};

// Sub-command types of the firmware's phone-set messages.
enum PHONE_SET_TYPE : uint8_t {
    GIMBAL_SPEED_SET = 1,
    GIMBAL_SPEED_GET = 2,
    REMOTE_LANGUAGE_SET = 3,
    REMOTE_LANGUAGE_GET = 4,
    COACH_MACHINE_SET = 9,
    COACH_MACHINE_GET = 10,
    GIMBAL_PITCH_ADJUST = 11,
    GIMBAL_ANG_GET = 12,
    REMOTE_CALIB_DATA = 13,
    REMOTE_SENSING_UPLOAD = 14,
    REMOTE_SENSING_BATTERY_QUERY = 15,
    REMOTE_SENSING_VERSION_QUERY = 16,
    UNIT_DISPLAY_SET = 17,
    REMOTE_OPER_MODE_SET = 18,
    REMOTE_OPER_MODE_GET = 19,
    UNIT_DISPLAY_GET = 20,
    PHONE_COMPASS_ANGLE = 22,
    GIMBAL_YAW_ADJUST = 24,
    JOYSTICK_CALIB_DATA_UPLOAD = 25,
};

// Second request byte: width in bytes of the value that follows.
constexpr uint8_t RC_GIMBAL_SPEED_VALUE_WIDTH = 4;
constexpr uint8_t RC_MODE_VALUE_WIDTH = 1;
// Calibration and raw-data switch requests: byte 1 is always 1, byte 2 the
// switch (calibration: 1 enter, 0 exit; raw data: the App's value).
constexpr uint8_t RC_SWITCH_FLAG = 1;
constexpr uint8_t RC_CALIBRATION_ENTER = 1;
constexpr uint8_t RC_CALIBRATION_EXIT = 0;

// The firmware's phone-set record at the start of a msgid 150 payload.
// length is the firmware's own count of set_data bytes.
constexpr uint16_t PHONE_SET_DATA_LEN = 22;
#pragma pack(push, 1)
struct __xolt_phone_set_t {
    uint8_t type;
    uint8_t length;
    uint8_t set_data[PHONE_SET_DATA_LEN];
};
#pragma pack(pop)
static_assert(sizeof(__xolt_phone_set_t) == 24, "phone-set record is 24 bytes on the wire");

// Status report (type 15): the charging voltage is not part of the record;
// it is read at these payload bytes of the receive record.
constexpr uint16_t PHONE_SET_CHARGING_VOLTAGE_OFFSET = 120;

#endif
