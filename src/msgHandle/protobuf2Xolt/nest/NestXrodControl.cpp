#include "NestXrodControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestXrodControl, "Protobuf2Xolt.NestXrodControl",
                                  quelby::protocol::NEST_XROD_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")

void CNestXrodControl::logRequest()
{
    KS_LOG_INFO("Nest Xrod control request");
}

uint16_t CNestXrodControl::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return typeActionPayload(NEST_CMD_LOCATION_ROD, body, payload);
}
