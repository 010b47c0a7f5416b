#include "msgHandle/protobuf2Xolt/nest/NestZrodControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestZrodControl, "Protobuf2Xolt.NestZrodControl",
                                  quelby::protocol::NEST_ZROD_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")

void CNestZrodControl::logBody(const quelby::protocol::NestCommand& body)
{
    KS_LOG_INFO("Zrod Control type: " << body.nesttype() << ", action: " << body.nestaction());
}
