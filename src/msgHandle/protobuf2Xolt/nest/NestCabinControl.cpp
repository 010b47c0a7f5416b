#include "NestCabinControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestCabinControl, "Protobuf2Xolt.NestCabinControl",
                                  quelby::protocol::NEST_CABIN_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")

void CNestCabinControl::logRequest()
{
    KS_LOG_INFO("Nest Cabin control request");
}

uint16_t CNestCabinControl::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return typeActionPayload(NEST_CMD_HATCH_CONTROL, body, payload);
}
