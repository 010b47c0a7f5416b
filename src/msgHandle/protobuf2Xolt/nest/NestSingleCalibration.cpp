#include "msgHandle/protobuf2Xolt/nest/NestSingleCalibration.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestSingleCalibration, "Protobuf2Xolt.NestSingleCalibration",
                                  quelby::protocol::NEST_SINGLE_CALIBRATION_MSG,
                                  "Init protobuf to xolt handle, msg id:")

void CNestSingleCalibration::logBody(const quelby::protocol::NestSingleCalibration& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype() << ", component: " << body.nestcomponents()
                              << ", direction: " << body.direction());
}

uint16_t CNestSingleCalibration::fillArgs(const quelby::protocol::NestSingleCalibration& body, uint8_t* args)
{
    markArgs(args);
    args[2] = static_cast<uint8_t>(body.nestcomponents());
    args[3] = static_cast<uint8_t>(body.direction());
    return 4;
}
