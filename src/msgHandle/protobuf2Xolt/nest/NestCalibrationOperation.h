#ifndef LUMBRIX_NEST_CALIBRATION_OPERATION_H
#define LUMBRIX_NEST_CALIBRATION_OPERATION_H

#include "msgHandle/protobuf2Xolt/nest/NestCommandHandle.h"

// App NEST_CALIBRATION_OPERATION_MSG -> nest command frame that starts or ends
// the nest's calibration. Created and owned by the handler manager; the nest's
// acknowledgement is paired by CXoltNestCommandRsp.
class CNestCalibrationOperation
    : public CNestCommandHandle<CNestCalibrationOperation, quelby::protocol::NestCalibrateOperation,
                                E_NEST_ARGS_MARK_ACTION> {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestCalibrationOperation)

public:
    static void logBody(const quelby::protocol::NestCalibrateOperation& body);
};

#endif
