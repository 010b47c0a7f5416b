#ifndef LUMBRIX_PROTOBUF_GET_PARAMETER_HANDLE_H
#define LUMBRIX_PROTOBUF_GET_PARAMETER_HANDLE_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Serves the App's parameter reads (PARAM_GET_MSG). The gimbal pitch speed
// and the rocker control mode are asked of the RC's controller with one RC
// settings frame each; every other parameter is refused with a log line.
// The answers come back through CXoltMsgPhoneSetHandle, which finds the
// App's sequence in CGlobalStatus: the gimbal-speed read in its
// last-sequence integer, the rocker-mode read in the PARAM_GET_MSG queue.
// Owns nothing but its module's frame sequence counter.
class CProtobufGetParameterHandle : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CProtobufGetParameterHandle)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
