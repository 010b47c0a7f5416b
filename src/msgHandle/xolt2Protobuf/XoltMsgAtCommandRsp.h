#ifndef LUMBRIX_XOLT_MSG_AT_COMMAND_RSP_H
#define LUMBRIX_XOLT_MSG_AT_COMMAND_RSP_H

#include "msgHandle/Xolt2ProtobufHandleBase.h"

// Turns the radio's AT command answers and pairing progress (link msgid 201)
// into App messages: the pairing answer becomes the AIRLINK_START_MATCHING_MSG
// response (sequence from CGlobalStatus::ms_iCurStartMatchingMsgSequence),
// progress an AIRLINK_MATCHING_STATUS_NTFY report, the setting answers a
// bare envelope. Keeps no state of its own.
class CXoltMsgAtCommandRsp : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CXoltMsgAtCommandRsp)
public:
    int32_t handleMsg(__xolt_message_head* head) override;
};

#endif
