#ifndef LUMBRIX_AIR_LINK_START_MATCHING_H
#define LUMBRIX_AIR_LINK_START_MATCHING_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Starts radio pairing for the App (AIRLINK_START_MATCHING_MSG) with one AT
// command frame (REQUEST_PAIR) to the RC. The App's sequence overwrites
// CGlobalStatus::ms_iCurStartMatchingMsgSequence, which CXoltMsgAtCommandRsp
// puts into the pairing answer. Owns nothing but its module's frame
// sequence counter.
class CAirLinkStartMatching : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CAirLinkStartMatching)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
