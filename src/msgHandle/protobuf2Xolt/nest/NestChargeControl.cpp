#include "NestChargeControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestChargeControl, "Protobuf2Xolt.NestChargeControl",
                                  quelby::protocol::NEST_CHARGE_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")

void CNestChargeControl::logRequest()
{
    KS_LOG_INFO("Nest Charge control request");
}

uint16_t CNestChargeControl::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return markedActionPayload(NEST_CMD_AIRPLANE_CHARGE, body.nestaction(), payload);
}
