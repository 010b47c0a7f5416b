#include "NestScramControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestScramControl, "Protobuf2Xolt.NestScramControl",
                                  quelby::protocol::NEST_SCRAM_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")

void CNestScramControl::logRequest()
{
    KS_LOG_INFO("Nest ScramControl  request");
}

void CNestScramControl::logBody(const quelby::protocol::NestCommand& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype() << ",action: " << body.nestaction());
}

uint16_t CNestScramControl::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return markedActionPayload(NEST_CMD_SOTF_STOP, body.nestaction(), payload);
}
