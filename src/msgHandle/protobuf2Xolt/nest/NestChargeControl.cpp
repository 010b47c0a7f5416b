#include "msgHandle/protobuf2Xolt/nest/NestChargeControl.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestChargeControl, "Protobuf2Xolt.NestChargeControl",
                                  quelby::protocol::NEST_CHARGE_CONTROL_MSG, "Init protobuf to xolt handle, msg id:")
