#ifndef LUMBRIX_NEST_RESET_H
#define LUMBRIX_NEST_RESET_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_RESET_MSG -> nest command frame that resets the nest. Created and
// owned by the handler manager; the nest's acknowledgement is paired by
// CXoltNestCommandRsp.
class CNestReset : public CNestCommandHandle<CNestReset, quelby::protocol::NestResetCommand, E_NEST_ARGS_MARK> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestReset)

public:
    static void logBody(const quelby::protocol::NestResetCommand& body);
};

#endif
