#include "NestAutoCommand.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestAutoCommand, "Protobuf2Xolt.NestAutoCommand",
                                  quelby::protocol::NEST_AUTO_COMMAND_MSG, "Init protobuf to xolt handle, msg id:")

void CNestAutoCommand::logRequest()
{
    KS_LOG_INFO("Nest AutoCommand control request");
}

void CNestAutoCommand::logBody(const quelby::protocol::NestCommand& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype() << ",action: " << body.nestaction());
}

uint16_t CNestAutoCommand::fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload)
{
    return markedActionPayload(NEST_CMD_AUTO_TASK, body.nestaction(), payload);
}
