#include "NestYrodControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestYrodControl, "Protobuf2Xolt.NestYrodControl",
                                  quelby::protocol::NEST_YROD_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")

void CNestYrodControl::logRequest()
{
    KS_LOG_INFO("Nest Yrod control request");
}

uint16_t CNestYrodControl::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return typeActionPayload(NEST_CMD_CHARGE_ROD, body, payload);
}
