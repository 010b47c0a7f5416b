#ifndef LUMBRIX_XOLT_MSG_PHONE_SET_HANDLE_H
#define LUMBRIX_XOLT_MSG_PHONE_SET_HANDLE_H

#include "msgHandle/Xolt2ProtobufHandleBase.h"

// Turns the RC settings channel (link msgid 150) into App messages: the
// answers to the gimbal-speed, rocker-mode and calibration requests become
// App responses carrying the sequence that the request handlers left in
// CGlobalStatus; the stick, status and calibration-progress reports become
// App notifications. Reads CGlobalStatus, owns only the two log-thinning
// counters of its module and the App messages it reuses from frame to frame.
class CXoltMsgPhoneSetHandle : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CXoltMsgPhoneSetHandle)
public:
    int32_t handleMsg(__xolt_message_head* head) override;
};

#endif
