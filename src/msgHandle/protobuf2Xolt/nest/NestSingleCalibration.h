#ifndef LUMBRIX_NEST_SINGLE_CALIBRATION_H
#define LUMBRIX_NEST_SINGLE_CALIBRATION_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_SINGLE_CALIBRATION_MSG -> nest command frame that calibrates one
// component in one direction. Created and owned by the handler manager; the
// nest's acknowledgement is paired by CXoltNestCommandRsp.
class CNestSingleCalibration
    : public CNestCommandHandle<CNestSingleCalibration, quelby::protocol::NestSingleCalibration> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestSingleCalibration)

public:
    static void logBody(const quelby::protocol::NestSingleCalibration& body);
    static uint16_t fillArgs(const quelby::protocol::NestSingleCalibration& body, uint8_t* args);
};

#endif
