#include "msgHandle/protobuf2Xolt/nest/NestReset.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestReset, "Protobuf2Xolt.NestReset", quelby::protocol::NEST_RESET_MSG,
                                  "Init protobuf to xolt handle, msg id:")

void CNestReset::logBody(const quelby::protocol::NestResetCommand& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype());
}
