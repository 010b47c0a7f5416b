#include "NestReset.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestReset, "Protobuf2Xolt.NestReset",
                                  quelby::protocol::NEST_RESET_MSG, "Init protobuf to xolt handle, msg id:")

void CNestReset::logRequest()
{
    KS_LOG_INFO("Nest Reset control request");
}

void CNestReset::logBody(const quelby::protocol::NestResetCommand& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype());
}

uint16_t CNestReset::fillPayload(const quelby::protocol::NestResetCommand&, uint8_t* payload)
{
    return markedPayload(NEST_CMD_SYSTEM_RESET, payload);
}
