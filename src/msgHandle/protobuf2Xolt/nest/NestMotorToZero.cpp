#include "NestMotorToZero.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestMotorToZero, "Protobuf2Xolt.NestMotorToZero",
                                  quelby::protocol::NEST_MOTOR_TO_ZERO_MSG, "Init protobuf to xolt handle, msg id:")

void CNestMotorToZero::logRequest()
{
    KS_LOG_INFO("Nest MotorToZero control request");
}

void CNestMotorToZero::logBody(const quelby::protocol::NestCommand& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype() << ",action: " << body.nestaction());
}

uint16_t CNestMotorToZero::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return markedActionPayload(NEST_CMD_MOTOR_LOCATION_ZERO, body.nestaction(), payload);
}
