#ifndef LUMBRIX_NEST_XROD_CONTROL_H
#define LUMBRIX_NEST_XROD_CONTROL_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_XROD_CONTROL_MSG -> nest command frame that moves the X (locating)
// rods. Created and owned by the handler manager; the nest's acknowledgement is
// paired by CXoltNestCommandRsp.
class CNestXrodControl
    : public CNestCommandHandle<CNestXrodControl, quelby::protocol::NestCommand, E_NEST_ARGS_TYPE_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestXrodControl)
};

#endif
