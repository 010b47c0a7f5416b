#include "NestZrodControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestZrodControl, "Protobuf2Xolt.NestZrodControl",
                                  quelby::protocol::NEST_ZROD_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")

void CNestZrodControl::logRequest()
{
    KS_LOG_INFO("Nest Zrod control request");
}

void CNestZrodControl::logBody(const quelby::protocol::NestCommand& body)
{
    KS_LOG_INFO("Zrod Control type: " << body.nesttype() << ", action: " << body.nestaction());
}

uint16_t CNestZrodControl::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return typeActionPayload(NEST_CMD_PADDIES_ROD, body, payload);
}
