#include "msgHandle/protobuf2Xolt/nest/NestYrodControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestYrodControl, "Protobuf2Xolt.NestYrodControl",
                                  quelby::protocol::NEST_YROD_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")
