#ifndef LUMBRIX_NEST_CALIBRATION_OPERATION_H
#define LUMBRIX_NEST_CALIBRATION_OPERATION_H

#include "NestCommandHandle.h"

// App NEST_CALIBRATION_OPERATION_MSG -> nest command frame that starts or ends
// the nest's calibration. Created and owned by the handler manager; the nest's
// acknowledgement is paired by CXoltNestCommandRsp.
class CNestCalibrationOperation
    : public CNestCommandHandle<CNestCalibrationOperation, quelby::protocol::NestCalibrateOperation> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestCalibrationOperation)

public:
    static void logRequest();
    static void logBody(const quelby::protocol::NestCalibrateOperation& body);
    static uint16_t fillPayload(const quelby::protocol::NestCalibrateOperation& body, uint8_t* payload);
};

#endif
