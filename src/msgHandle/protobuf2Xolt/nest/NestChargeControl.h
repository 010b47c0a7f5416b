#ifndef LUMBRIX_NEST_CHARGE_CONTROL_H
#define LUMBRIX_NEST_CHARGE_CONTROL_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_CHARGE_CONTROL_MSG -> nest command frame that starts or stops
// charging the drone. Created and owned by the handler manager; the nest's
// acknowledgement is paired by CXoltNestCommandRsp.
class CNestChargeControl
    : public CNestCommandHandle<CNestChargeControl, quelby::protocol::NestCommand, E_NEST_ARGS_MARK_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestChargeControl)
};

#endif
