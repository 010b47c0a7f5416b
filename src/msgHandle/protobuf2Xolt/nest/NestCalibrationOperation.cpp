#include "msgHandle/protobuf2Xolt/nest/NestCalibrationOperation.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestCalibrationOperation, "Protobuf2Xolt.NestCalibrationOperation",
                                  quelby::protocol::NEST_CALIBRATION_OPERATION_MSG,
                                  "Init protobuf to xolt handle, msg id:")

void CNestCalibrationOperation::logBody(const quelby::protocol::NestCalibrateOperation& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype() << ", action: " << body.nestaction());
}
