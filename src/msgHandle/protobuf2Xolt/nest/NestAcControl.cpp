#include "msgHandle/protobuf2Xolt/nest/NestAcControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestAcControl, "Protobuf2Xolt.NestAcControl", quelby::protocol::NEST_AC_CONTROL_MSG,
                                  "Init protobuf to xolt handle, msg id:")
