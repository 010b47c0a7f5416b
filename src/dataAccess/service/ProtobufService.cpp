#include "ProtobufService.h"

#include "KsLog.h"
#include "MsgHandleManager.h"
#include "quelby_protocol.pb.h"

CReflexRegister<ICServiceBase> CProtobufService::ms_reflexRegister("Service.protobuf", &CProtobufService::create);

void* CProtobufService::create()
{
    return static_cast<ICServiceBase*>(new CProtobufService());
}

int CProtobufService::onReadData(CIpcHandleBase*, int len, const char* data)
{
    // One envelope per receiving thread, reused: parsing clears it first and
    // keeps its header, data and strings allocated, so decoding a datagram
    // does not go to the heap once they have grown to size.
    static thread_local quelby::protocol::QuelbyMessage s_message;

    // A failed receive reports -1; there is nothing to decode.
    if (len < 0) {
        return 0;
    }
    if (s_message.ParseFromArray(data, len)) {
        CMsgHandleManager::getInstance()->handleProtobufMsg(s_message);
    } else {
        KS_LOG_ERROR("Fail to parse protobuf msg, msg len:" << len);
    }
    return 0;
}
