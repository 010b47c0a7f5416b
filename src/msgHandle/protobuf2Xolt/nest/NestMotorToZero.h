#ifndef LUMBRIX_NEST_MOTOR_TO_ZERO_H
#define LUMBRIX_NEST_MOTOR_TO_ZERO_H

#include "NestCommandHandle.h"

// App NEST_MOTOR_TO_ZERO_MSG -> nest command frame that drives the motors to
// their zero position. Created and owned by the handler manager; the nest's
// acknowledgement is paired by CXoltNestCommandRsp.
class CNestMotorToZero : public CNestCommandHandle<CNestMotorToZero, quelby::protocol::NestCommand> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestMotorToZero)

public:
    static void logRequest();
    static void logBody(const quelby::protocol::NestCommand& body);
    static uint16_t fillPayload(const quelby::protocol::NestCommand& body, uint8_t* payload);
};

#endif
