#ifndef LUMBRIX_QUICK_MATCH_CLEAR_BLACKLIST_H
#define LUMBRIX_QUICK_MATCH_CLEAR_BLACKLIST_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Clears the quick-match blacklist for the App
// (RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG) with one AT command frame to
// component 35. The App's sequence is queued in CGlobalStatus under the
// request's type; no answer handler takes it back, so the queue only grows
// (128 requests fill it). Owns nothing but its module's frame sequence
// counter.
class CQuickMatchClearBlacklist : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CQuickMatchClearBlacklist)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
