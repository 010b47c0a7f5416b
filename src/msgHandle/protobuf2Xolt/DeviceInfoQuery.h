#ifndef LUMBRIX_DEVICE_INFO_QUERY_H
#define LUMBRIX_DEVICE_INFO_QUERY_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Asks the RC for its version strings (RC_QUERY_DEVICE_INFO_MSG) with one
// empty get-versions frame (msgid 219). The App's sequence overwrites
// CGlobalStatus::ms_iDeviceInfoQuerySequence, which CXoltDeviceInfoResp puts
// into the answer. Owns nothing but its module's frame sequence counter.
class CDeviceInfoQuery : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CDeviceInfoQuery)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
