#ifndef LUMBRIX_NEST_VIRTUAL_POLE_STATUS_H
#define LUMBRIX_NEST_VIRTUAL_POLE_STATUS_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// App NEST_VIRTUAL_POLE_STATUS_NTFY -> virtual stick frame (msgid 148) to the
// nest. A plain relay: no head-type check, no pending sequence, one frame per
// notification; only every 120th send is logged, starting with the first.
// Created and owned by the handler manager; it owns its message count.
class CNestVirtualPoleStatus : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestVirtualPoleStatus)

public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;

private:
    int32_t ms_iCount = 0; // notifications relayed so far
};

#endif
