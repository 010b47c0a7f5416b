#include "msgHandle/protobuf2Xolt/nest/NestAutoCommand.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestAutoCommand, "Protobuf2Xolt.NestAutoCommand",
                                  quelby::protocol::NEST_AUTO_COMMAND_MSG, "Init protobuf to xolt handle, msg id:")
