#ifndef LUMBRIX_NEST_MOTOR_TO_ZERO_H
#define LUMBRIX_NEST_MOTOR_TO_ZERO_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_MOTOR_TO_ZERO_MSG -> nest command frame that drives the motors to
// their zero position. Created and owned by the handler manager; the nest's
// acknowledgement is paired by CXoltNestCommandRsp.
class CNestMotorToZero
    : public CNestCommandHandle<CNestMotorToZero, quelby::protocol::NestCommand, E_NEST_ARGS_MARK_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestMotorToZero)

public:
    static void logBody(const quelby::protocol::NestCommand& body) { logTypeAction(body); }
};

#endif
