#include "NestAcControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestAcControl, "Protobuf2Xolt.NestAcControl",
                                  quelby::protocol::NEST_AC_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")

void CNestAcControl::logRequest()
{
    KS_LOG_INFO("Nest AcControl control request");
}

void CNestAcControl::logBody(const quelby::protocol::NestCommand& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype() << ",action: " << body.nestaction());
}

uint16_t CNestAcControl::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return markedActionPayload(NEST_CMD_AIR_CONDITIONER_POWER, body.nestaction(), payload);
}
