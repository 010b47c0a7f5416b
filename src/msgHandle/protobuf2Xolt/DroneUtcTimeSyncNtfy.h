#ifndef LUMBRIX_DRONE_UTC_TIME_SYNC_NTFY_H
#define LUMBRIX_DRONE_UTC_TIME_SYNC_NTFY_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Forwards the drone's UTC (GPS) time from the App to the RC's controller as
// one link frame (msgid 24). A notification: nothing answers it, so no
// sequence is remembered. Owns nothing but its module's frame sequence
// counter.
class CDroneUtcTimeSyncNtfy : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CDroneUtcTimeSyncNtfy)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
