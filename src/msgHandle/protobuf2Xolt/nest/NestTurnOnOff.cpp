#include "msgHandle/protobuf2Xolt/nest/NestTurnOnOff.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestTurnOnOff, "Protobuf2Xolt.NestTurnOnOff", quelby::protocol::NEST_TURN_ON_OFF_MSG,
                                  "Init protobuf to xolt handle, msg id:")
