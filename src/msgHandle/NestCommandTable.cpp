#include "msgHandle/NestCommandTable.h"

#include "msgHandle/NestCommandDefine.h"
#include "quelby_protocol.pb.h"

namespace {

using namespace quelby::protocol;

// The system-config answer goes out under the single-calibration id while
// its sequence comes from the system-config queue; the App expects it so.
// The motor-driver commands have no App request: their acknowledgement is
// answered with a bare envelope.
const TNestCommand NEST_COMMANDS[] = {
    {NEST_CMD_HATCH_CONTROL, NEST_CABIN_CONTROL_MSG, NEST_CABIN_CONTROL_MSG, "Nest Cabin control request",
     "response of NEST_CMD_HATCH_CONTROL"},
    {NEST_CMD_LOCATION_ROD, NEST_XROD_CONTROL_MSG, NEST_XROD_CONTROL_MSG, "Nest Xrod control request",
     "case NEST_CMD_LOCATION_ROD X"},
    {NEST_CMD_CHARGE_ROD, NEST_YROD_CONTROL_MSG, NEST_YROD_CONTROL_MSG, "Nest Yrod control request",
     "case NEST_CMD_CHARGE_ROD Y"},
    {NEST_CMD_MOTOR_DRV_POWER, 0, 0, nullptr, "case NEST_CMD_MOTOR_DRV_POWER"},
    {NEST_CMD_MOTOR_DRV_RESET, 0, 0, nullptr, "case NEST_CMD_MOTOR_DRV_RESET"},
    {NEST_CMD_MOTOR_CONFIG, 0, 0, nullptr, "case NEST_CMD_MOTOR_CONFIG"},
    {NEST_CMD_MOTOR_LOCATION_ZERO, NEST_MOTOR_TO_ZERO_MSG, NEST_MOTOR_TO_ZERO_MSG, "Nest MotorToZero control request",
     "case NEST_CMD_MOTOR_LOCATION_ZERO"},
    {NEST_CMD_PADDIES_ROD, NEST_ZROD_CONTROL_MSG, NEST_ZROD_CONTROL_MSG, "Nest Zrod control request",
     "case NEST_CMD_PADDIES_ROD Z"},
    {NEST_CODE_CALIBRATION_OPERATION, NEST_CALIBRATION_OPERATION_MSG, NEST_CALIBRATION_OPERATION_MSG,
     "Nest CalibrationOperation control request", "case Calibration Operation"},
    {NEST_CODE_SINGLE_CALIBRATION, NEST_SINGLE_CALIBRATION_MSG, NEST_SINGLE_CALIBRATION_MSG,
     "Nest SingleCalibration control request", "case Single Calibration"},
    {NEST_CMD_SYSTEM_CONFIG, NEST_SYSTEM_CONFIG_MSG, NEST_SINGLE_CALIBRATION_MSG, "Nest SystemConfig control request",
     "case NEST_CMD_SYSTEM_CONFIG"},
    {NEST_CMD_SYSTEM_RESET, NEST_RESET_MSG, NEST_RESET_MSG, "Nest Reset control request", "case NEST_CMD_SYSTEM_RESET"},
    {NEST_CMD_AIRPLANE_CHARGE, NEST_CHARGE_CONTROL_MSG, NEST_CHARGE_CONTROL_MSG, "Nest Charge control request",
     "case NEST_CMD_AIRPLANE_CHARGE"},
    {NEST_CMD_AIRPLANE_POWER, NEST_TURN_ON_OFF_MSG, NEST_TURN_ON_OFF_MSG, "Nest TurnOnOff control request",
     "case NEST_CMD_AIRPLANE_POWER"},
    {NEST_CMD_AIR_CONDITIONER_POWER, NEST_AC_CONTROL_MSG, NEST_AC_CONTROL_MSG, "Nest AcControl control request",
     "case NEST_CMD_AIR_CONDITIONER_POWER"},
    {NEST_CMD_SOTF_STOP, NEST_SCRAM_CONTROL_MSG, NEST_SCRAM_CONTROL_MSG, "Nest ScramControl  request",
     "case NEST_CMD_SOTF_STOP"},
    {NEST_CODE_RETURN_WAIT_TIME, NEST_RETURN_WAIT_TIME_MSG, NEST_RETURN_WAIT_TIME_MSG, nullptr,
     "case Z_rod wait time rsp"},
    {NEST_CMD_AUTO_TASK, NEST_AUTO_COMMAND_MSG, NEST_AUTO_COMMAND_MSG, "Nest AutoCommand control request",
     "case NEST_CMD_AUTO_TASK"},
};

} // namespace

const TNestCommand* findNestCommand(uint8_t command)
{
    for (const TNestCommand& row : NEST_COMMANDS) {
        if (row.command == command) {
            return &row;
        }
    }
    return nullptr;
}

const TNestCommand* findNestRequest(uint32_t request)
{
    for (const TNestCommand& row : NEST_COMMANDS) {
        if (row.request == request) {
            return &row;
        }
    }
    return nullptr;
}
