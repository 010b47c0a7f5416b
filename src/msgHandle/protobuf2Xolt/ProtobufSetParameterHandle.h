#ifndef LUMBRIX_PROTOBUF_SET_PARAMETER_HANDLE_H
#define LUMBRIX_PROTOBUF_SET_PARAMETER_HANDLE_H

#include "msgHandle/Protobuf2XoltHandleBase.h"

// Serves the App's parameter writes (PARAM_SET_MSG): the gimbal pitch speed
// and the rocker control mode, one RC settings frame each; every other
// parameter is refused with a log line. The App's sequence is kept in the
// CGlobalStatus last-sequence integers, from which CXoltMsgPhoneSetHandle
// answers. Owns nothing but its module's frame sequence counter.
class CProtobufSetParameterHandle : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CProtobufSetParameterHandle)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
};

#endif
