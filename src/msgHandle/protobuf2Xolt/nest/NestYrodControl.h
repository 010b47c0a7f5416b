#ifndef LUMBRIX_NEST_YROD_CONTROL_H
#define LUMBRIX_NEST_YROD_CONTROL_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_YROD_CONTROL_MSG -> nest command frame that moves the Y (charging)
// rods. Created and owned by the handler manager; the nest's acknowledgement is
// paired by CXoltNestCommandRsp.
class CNestYrodControl
    : public CNestCommandHandle<CNestYrodControl, quelby::protocol::NestCommand, E_NEST_ARGS_TYPE_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestYrodControl)
};

#endif
