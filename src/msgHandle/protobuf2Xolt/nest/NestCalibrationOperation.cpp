#include "NestCalibrationOperation.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestCalibrationOperation, "Protobuf2Xolt.NestCalibrationOperation",
                                  quelby::protocol::NEST_CALIBRATION_OPERATION_MSG,
                                  "Init protobuf to xolt handle, msg id:")

void CNestCalibrationOperation::logRequest()
{
    KS_LOG_INFO("Nest CalibrationOperation control request");
}

void CNestCalibrationOperation::logBody(const quelby::protocol::NestCalibrateOperation& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype() << ", action: " << body.nestaction());
}

uint16_t CNestCalibrationOperation::fillPayload(const quelby::protocol::NestCalibrateOperation& body, uint8_t* payload)
{
    return markedActionPayload(NEST_CODE_CALIBRATION_OPERATION, body.nestaction(), payload);
}
