#ifndef LUMBRIX_NEST_ZROD_CONTROL_H
#define LUMBRIX_NEST_ZROD_CONTROL_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_ZROD_CONTROL_MSG -> nest command frame that moves the Z rods
// (paddles). Created and owned by the handler manager; the nest's
// acknowledgement is paired by CXoltNestCommandRsp.
class CNestZrodControl
    : public CNestCommandHandle<CNestZrodControl, quelby::protocol::NestCommand, E_NEST_ARGS_TYPE_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestZrodControl)

public:
    static void logBody(const quelby::protocol::NestCommand& body);
};

#endif
