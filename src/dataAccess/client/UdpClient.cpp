#include "dataAccess/client/UdpClient.h"

#include "framework/EndpointTap.h"
#include "common/ipc/IpcFramework.h"
#include "common/ipc/IpcHandleBase.h"
#include "common/core/KsLog.h"
#include "framework/TrafficRecorder.h"

CReflexRegister<ICClientBase> CUdpClient::ms_reflexRegister("Client.udp", &CUdpClient::create);

void* CUdpClient::create()
{
    return static_cast<ICClientBase*>(new CUdpClient());
}

int CUdpClient::start(const CClientEntityInfo& info)
{
    std::shared_ptr<CIpcHandleBase> handle = std::make_shared<CIpcHandleBase>();
    if (CIpcFramework::getInstance()->createUDPClient(info.m_strRemoteIP, info.m_iRemotePort, handle, "", 0) < 0) {
        KS_LOG_ERROR("Fail to create udp client, remote ip:" << info.m_strRemoteIP
                                                             << ", remote port:" << info.m_iRemotePort);
        return -1;
    }
    m_spIpcHandle = handle;
    m_iServiceId = info.m_iServiceId;
    m_pTap = CTrafficRecorder::getInstance()->addTap(CEndpointTap::E_KIND_CLIENT,
                                                     "client " + info.m_strServiceName + " " + info.m_strRemoteIP +
                                                         ":" + std::to_string(info.m_iRemotePort),
                                                     handle->getRemoteAddress(), handle->getHandle());
    KS_LOG_INFO("Create udp client success, remote ip:" << info.m_strRemoteIP
                                                        << ", remote port:" << info.m_iRemotePort);
    return 0;
}

int CUdpClient::stop()
{
    m_spIpcHandle.reset();
    return 0;
}

int CUdpClient::sendData(int len, const char* data)
{
    if (!m_spIpcHandle) {
        KS_LOG_ERROR("When send udp data to remote service, the udp client is not exist.");
        return -1;
    }
    if (m_pTap == nullptr) {
        return m_spIpcHandle->sendData(data, len);
    }
    return sendCounted(len, data);
}

int CUdpClient::sendCounted(int len, const char* data)
{
    const int result = m_spIpcHandle->sendData(data, len);
    m_pTap->sent(result, len, data);
    return result;
}
