#include "NestTurnOnOff.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestTurnOnOff, "Protobuf2Xolt.NestTurnOnOff",
                                  quelby::protocol::NEST_TURN_ON_OFF_MSG, "Init protobuf to xolt handle, msg id:")

void CNestTurnOnOff::logRequest()
{
    KS_LOG_INFO("Nest TurnOnOff control request");
}

void CNestTurnOnOff::logBody(const quelby::protocol::NestCommand& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype() << ",action: " << body.nestaction());
}

uint16_t CNestTurnOnOff::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return markedActionPayload(NEST_CMD_AIRPLANE_POWER, body.nestaction(), payload);
}
