#ifndef LUMBRIX_XOLT_MSG_RC_KEY_HANDLE_H
#define LUMBRIX_XOLT_MSG_RC_KEY_HANDLE_H

#include "msgHandle/Xolt2ProtobufHandleBase.h"

// Turns the RC's key events (link msgid 144) into App button events
// (RCHardwareButtonInfoNtfy under RC_HARDWARE_BUTTON_INFO_NTFY): one event
// per supported key, nothing for the others. Keeps no state.
class CXoltMsgRCKeyHandle : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CXoltMsgRCKeyHandle)
public:
    int32_t handleMsg(__xolt_message_head* head) override;
};

#endif
