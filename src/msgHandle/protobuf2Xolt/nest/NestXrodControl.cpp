#include "msgHandle/protobuf2Xolt/nest/NestXrodControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestXrodControl, "Protobuf2Xolt.NestXrodControl",
                                  quelby::protocol::NEST_XROD_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")
