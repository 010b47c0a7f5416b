#ifndef LUMBRIX_NEST_COMMAND_DEFINE_H
#define LUMBRIX_NEST_COMMAND_DEFINE_H

#include <cstdint>

// The nest's command numbers: byte 0 of every nest command frame (link msgid
// 182 towards the nest), of its acknowledgement (msgid 183) and of every nest
// report (msgid 182 from the nest).
enum NEST_COMMON_COMMAND : uint8_t {
    NEST_CMD_HATCH_CONTROL = 1,
    NEST_CMD_LOCATION_ROD = 2,
    NEST_CMD_CHARGE_ROD = 3,
    NEST_CMD_MOTOR_DRV_POWER = 4,
    NEST_CMD_MOTOR_DRV_RESET = 5,
    NEST_CMD_MOTOR_CONFIG = 6,
    NEST_CMD_MOTOR_LOCATION_ZERO = 7,
    NEST_CMD_PADDIES_ROD = 8,
    NEST_CMD_SYSTEM_CONFIG = 16,
    NEST_CMD_SYSTEM_RESET = 17,
    NEST_CMD_AIRPLANE_CHARGE = 18,
    NEST_CMD_AIRPLANE_POWER = 19,
    NEST_CMD_AIR_CONDITIONER_POWER = 20,
    NEST_CMD_SOTF_STOP = 21,
    NEST_CMD_UPS_POWER = 22,
    NEST_CMD_SYSTEM_STATUS = 32,
    NEST_CMD_BAT_DYNAMIC_INFO = 33,
    NEST_CMD_BAT_STATIC_INFO = 34,
    NEST_CMD_BAT_ALTERNATE_INFO = 35,
    NEST_CMD_MOTOR_DRV_INFO = 36,
    NEST_CMD_DRV_INFO1 = 37,
    NEST_CMD_UPS_INFO = 38,
    NEST_CMD_AUTO_TASK = 48,
    NEST_CMD_AUTO_TASK_SUCCESS = 49,
};

// Numbers the nest uses that have no name among its commands.
constexpr uint8_t NEST_CODE_CALIBRATION_OPERATION = 9; // command and its acknowledgement
constexpr uint8_t NEST_CODE_SINGLE_CALIBRATION = 10;   // command and its acknowledgement
constexpr uint8_t NEST_CODE_RETURN_WAIT_TIME = 24;     // command and its acknowledgement
constexpr uint8_t NEST_CODE_ZROD_READY = 39;           // report
constexpr uint8_t NEST_CODE_SELF_CHECK = 40;           // report
constexpr uint8_t NEST_CODE_TRANSMIT_HEARTBEAT = 64;   // report

// Marker bytes that most commands carry in payload bytes 1 and 2.
constexpr uint8_t NEST_CMD_MARK_0 = 0xAA;
constexpr uint8_t NEST_CMD_MARK_1 = 0x55;

#endif
