#ifndef LUMBRIX_RC_SYSTEM_TIME_MSG_H
#define LUMBRIX_RC_SYSTEM_TIME_MSG_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Passes the controller's system time and time zone from the App to the RC's
// controller on the command channel (link msgid 110, command 78). The App's
// sequence is queued in CGlobalStatus under RC_SYSTEM_TIME_MSG, where
// CXoltNormalMsgRsp takes it back when the acknowledgement arrives. Owns
// nothing but its module's frame sequence counter.
class CRcSystemTimeMsg : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CRcSystemTimeMsg)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
