#include "ProtobufService.h"

#include "AppEnvelopeReader.h"
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
    // One envelope per receiving thread, kept from datagram to datagram.
    static thread_local CAppEnvelopeReader s_reader;

    // A failed receive reports -1; there is nothing to decode.
    if (len < 0) {
        return 0;
    }
    if (s_reader.parse(data, len)) {
        CMsgHandleManager::getInstance()->handleProtobufMsg(s_reader.envelope());
    } else {
        KS_LOG_ERROR("Fail to parse protobuf msg, msg len:" << len);
    }
    return 0;
}
