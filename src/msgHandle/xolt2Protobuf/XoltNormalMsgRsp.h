#ifndef LUMBRIX_XOLT_NORMAL_MSG_RSP_H
#define LUMBRIX_XOLT_NORMAL_MSG_RSP_H

#include "msgHandle/Xolt2ProtobufHandleBase.h"

// Turns the RC's generic acknowledgement (link msgid 110) of the system-time
// command (78) into the App's RC_SYSTEM_TIME_MSG response, with the sequence
// that CRcSystemTimeMsg queued in CGlobalStatus. Acknowledgements of other
// commands are dropped. Keeps no state of its own.
class CXoltNormalMsgRsp : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CXoltNormalMsgRsp)
public:
    int32_t handleMsg(__xolt_message_head* head) override;
};

#endif
