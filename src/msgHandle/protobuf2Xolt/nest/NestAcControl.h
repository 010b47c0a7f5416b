#ifndef LUMBRIX_NEST_AC_CONTROL_H
#define LUMBRIX_NEST_AC_CONTROL_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_AC_CONTROL_MSG -> nest command frame that switches the air
// conditioner. Created and owned by the handler manager; the nest's
// acknowledgement is paired by CXoltNestCommandRsp.
class CNestAcControl
    : public CNestCommandHandle<CNestAcControl, quelby::protocol::NestCommand, E_NEST_ARGS_MARK_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestAcControl)

public:
    static void logBody(const quelby::protocol::NestCommand& body) { logTypeAction(body); }
};

#endif
