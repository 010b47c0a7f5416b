#include "msgHandle/protobuf2Xolt/nest/NestMotorToZero.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestMotorToZero, "Protobuf2Xolt.NestMotorToZero",
                                  quelby::protocol::NEST_MOTOR_TO_ZERO_MSG, "Init protobuf to xolt handle, msg id:")
