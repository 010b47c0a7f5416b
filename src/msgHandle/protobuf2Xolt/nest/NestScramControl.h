#ifndef LUMBRIX_NEST_SCRAM_CONTROL_H
#define LUMBRIX_NEST_SCRAM_CONTROL_H

#include "NestCommandHandle.h"

// App NEST_SCRAM_CONTROL_MSG -> nest command frame that emergency-stops the
// nest. Created and owned by the handler manager; the nest's acknowledgement is
// paired by CXoltNestCommandRsp.
class CNestScramControl : public CNestCommandHandle<CNestScramControl, quelby::protocol::NestCommand> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestScramControl)

public:
    static void logRequest();
    static void logBody(const quelby::protocol::NestCommand& body);
    static uint16_t fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload);
};

#endif
