#ifndef LUMBRIX_NEST_SCRAM_CONTROL_H
#define LUMBRIX_NEST_SCRAM_CONTROL_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_SCRAM_CONTROL_MSG -> nest command frame that emergency-stops the
// nest. Created and owned by the handler manager; the nest's acknowledgement is
// paired by CXoltNestCommandRsp.
class CNestScramControl
    : public CNestCommandHandle<CNestScramControl, quelby::protocol::NestCommand, E_NEST_ARGS_MARK_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestScramControl)

public:
    static void logBody(const quelby::protocol::NestCommand& body) { logTypeAction(body); }
};

#endif
