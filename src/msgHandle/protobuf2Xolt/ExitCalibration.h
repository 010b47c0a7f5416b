#ifndef LUMBRIX_EXIT_CALIBRATION_H
#define LUMBRIX_EXIT_CALIBRATION_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Asks the RC's controller to leave stick calibration (RC_EXIT_CALIBRATION_MSG)
// with one RC settings frame. Records the App's sequence and the calibration
// command last sent in CGlobalStatus, where CXoltMsgPhoneSetHandle finds
// them when the firmware answers. Owns nothing but its module's frame
// sequence counter.
class CExitCalibration : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CExitCalibration)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
