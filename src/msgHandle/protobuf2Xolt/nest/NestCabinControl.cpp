#include "msgHandle/protobuf2Xolt/nest/NestCabinControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestCabinControl, "Protobuf2Xolt.NestCabinControl",
                                  quelby::protocol::NEST_CABIN_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")
