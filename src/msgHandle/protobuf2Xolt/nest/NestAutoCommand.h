#ifndef LUMBRIX_NEST_AUTO_COMMAND_H
#define LUMBRIX_NEST_AUTO_COMMAND_H

#include "NestCommandHandle.h"

// App NEST_AUTO_COMMAND_MSG -> nest command frame that starts an automatic
// task. Created and owned by the handler manager; the nest's acknowledgement is
// paired by CXoltNestCommandRsp.
class CNestAutoCommand : public CNestCommandHandle<CNestAutoCommand, quelby::protocol::NestCommand> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestAutoCommand)

public:
    static void logRequest();
    static void logBody(const quelby::protocol::NestCommand& body);
    static uint16_t fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload);
};

#endif
