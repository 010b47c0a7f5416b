#ifndef LUMBRIX_NEST_SYSTEM_CONFIG_H
#define LUMBRIX_NEST_SYSTEM_CONFIG_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_SYSTEM_CONFIG_MSG -> nest command frame that sets the air-
// conditioning limits, the clock and the charging automation. Created and owned
// by the handler manager; the nest's acknowledgement is paired by
// CXoltNestCommandRsp.
class CNestSystemConfig : public CNestCommandHandle<CNestSystemConfig, quelby::protocol::NestSystemConfig> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestSystemConfig)

public:
    static void logBody(const quelby::protocol::NestSystemConfig& body);
    static uint16_t fillArgs(const quelby::protocol::NestSystemConfig& body, uint8_t* args);
};

#endif
