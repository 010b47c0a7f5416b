#include "msgHandle/protobuf2Xolt/nest/NestScramControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestScramControl, "Protobuf2Xolt.NestScramControl",
                                  quelby::protocol::NEST_SCRAM_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")
