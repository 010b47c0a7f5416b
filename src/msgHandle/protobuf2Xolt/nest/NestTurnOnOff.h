#ifndef LUMBRIX_NEST_TURN_ON_OFF_H
#define LUMBRIX_NEST_TURN_ON_OFF_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_TURN_ON_OFF_MSG -> nest command frame that switches the drone on or
// off. Created and owned by the handler manager; the nest's acknowledgement is
// paired by CXoltNestCommandRsp.
class CNestTurnOnOff
    : public CNestCommandHandle<CNestTurnOnOff, quelby::protocol::NestCommand, E_NEST_ARGS_MARK_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestTurnOnOff)

public:
    static void logBody(const quelby::protocol::NestCommand& body) { logTypeAction(body); }
};

#endif
