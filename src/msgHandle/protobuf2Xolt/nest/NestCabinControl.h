#ifndef LUMBRIX_NEST_CABIN_CONTROL_H
#define LUMBRIX_NEST_CABIN_CONTROL_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_CABIN_CONTROL_MSG -> nest command frame that opens or closes the
// hatch. Created and owned by the handler manager; the nest's acknowledgement
// is paired by CXoltNestCommandRsp.
class CNestCabinControl
    : public CNestCommandHandle<CNestCabinControl, quelby::protocol::NestCommand, E_NEST_ARGS_TYPE_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestCabinControl)
};

#endif
