#include "dataAccess/service/ProtobufService.h"

#include "framework/EndpointTap.h"
#include "common/core/KsLog.h"
#include "msgHandle/AppEnvelopeReader.h"
#include "msgHandle/MsgHandleManager.h"
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
        if (m_pTap != nullptr) {
            m_pTap->countAccepted();
        }
        CMsgHandleManager::getInstance()->handleProtobufMsg(s_reader.envelope());
    } else {
        if (m_pTap != nullptr) {
            m_pTap->countRejected();
        }
        KS_LOG_ERROR("Fail to parse protobuf msg, msg len:" << len);
    }
    return 0;
}

void CProtobufService::addCounters(CEndpointTap& tap)
{
    tap.addCounter("envelopesAccepted", tap.accepted());
    tap.addCounter("unparsed", tap.rejected());
    tap.addCounter("noHandler", CMsgHandleManager::getInstance()->unhandledProtobuf());
}
