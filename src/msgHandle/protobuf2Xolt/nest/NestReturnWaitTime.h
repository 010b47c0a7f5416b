#ifndef LUMBRIX_NEST_RETURN_WAIT_TIME_H
#define LUMBRIX_NEST_RETURN_WAIT_TIME_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_RETURN_WAIT_TIME_MSG -> nest command frame that carries the return
// wait time (command 24). Created and owned by the handler manager; the nest's
// acknowledgement is paired by CXoltNestCommandRsp.
class CNestReturnWaitTime : public CNestCommandHandle<CNestReturnWaitTime, quelby::protocol::NestWaitTime> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestReturnWaitTime)

public:
    static void logBody(const quelby::protocol::NestWaitTime& body);
    static uint16_t fillArgs(const quelby::protocol::NestWaitTime& body, uint8_t* args);
};

#endif
