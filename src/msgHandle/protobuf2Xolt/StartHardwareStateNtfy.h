#ifndef LUMBRIX_START_HARDWARE_STATE_NTFY_H
#define LUMBRIX_START_HARDWARE_STATE_NTFY_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Switches the RC's raw stick and wheel reports (RC_START_HARDWARE_STATE_NTFY_MSG)
// with one RC settings frame and answers the App at once with a SUCCESS
// response; the reports themselves arrive through CXoltMsgPhoneSetHandle.
// Owns nothing but its module's frame sequence counter.
class CStartHardwareStateNtfy : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CStartHardwareStateNtfy)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
