#ifndef LUMBRIX_QUICK_MATCH_CHOOSE_CONNECT_H
#define LUMBRIX_QUICK_MATCH_CHOOSE_CONNECT_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Picks a connection from the quick-match list for the App
// (RC_QUICK_MATCH_CHOOSE_CONNECT_MSG) with one 101-byte AT command frame to
// component 35. The App's sequence is queued in CGlobalStatus under the
// request's type; no answer handler takes it back, so the queue only grows
// (128 requests fill it). Owns nothing but its module's frame sequence
// counter.
class CQuickMatchChooseConnect : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CQuickMatchChooseConnect)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
