#ifndef LUMBRIX_NEST_AUTO_COMMAND_H
#define LUMBRIX_NEST_AUTO_COMMAND_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_AUTO_COMMAND_MSG -> nest command frame that starts an automatic
// task. Created and owned by the handler manager; the nest's acknowledgement is
// paired by CXoltNestCommandRsp.
class CNestAutoCommand
    : public CNestCommandHandle<CNestAutoCommand, quelby::protocol::NestCommand, E_NEST_ARGS_MARK_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestAutoCommand)

public:
    static void logBody(const quelby::protocol::NestCommand& body) { logTypeAction(body); }
};

#endif
