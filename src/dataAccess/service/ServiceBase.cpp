#include "dataAccess/service/ServiceBase.h"

#include "common/ipc/IpcDefine.h"
#include "common/ipc/IpcFramework.h"
#include "common/ipc/Ipv4Address.h"
#include "common/core/KsLog.h"
#include "dataAccess/service/ServiceEntityUdpIpcHandle.h"
#include "framework/TrafficRecorder.h"

int ICServiceBase::start(const CServiceEntityInfo& info)
{
    if (info.m_iSocketType != E_IPC_TYPE_DEFAULT && info.m_iSocketType != E_IPC_TYPE_UDP) {
        return 0;
    }
    // The tap is there before the first datagram can arrive.
    m_pTap = CTrafficRecorder::getInstance()->addTap(
        CEndpointTap::E_KIND_SERVICE,
        "service " + info.m_strProtocolType + " " + info.m_strListenIP + ":" + std::to_string(info.m_iListenPort),
        ipv4Address(info.m_strListenIP, static_cast<uint16_t>(info.m_iListenPort)), -1);
    if (m_pTap != nullptr) {
        addCounters(*m_pTap);
    }
    std::shared_ptr<CIpcHandleBase> handle = std::make_shared<CServiceEntityUdpIpcHandle>(this);
    if (CIpcFramework::getInstance()->createUDPServer(info.m_strListenIP, info.m_iListenPort, handle) != 0) {
        KS_LOG_ERROR("Fail to init udp server, listen ip:" << info.m_strListenIP
                                                           << ", listen port:" << info.m_iListenPort);
        return -1;
    }
    KS_LOG_INFO("Success to init udp server, listen ip:" << info.m_strListenIP
                                                         << ", listen port:" << info.m_iListenPort);
    if (m_pTap != nullptr) {
        m_pTap->setSocket(handle->getHandle());
    }
    m_iSocketType = info.m_iSocketType;
    m_strListenIp = info.m_strListenIP;
    m_iListenPort = info.m_iListenPort;
    return 0;
}

int ICServiceBase::stop()
{
    if (m_iSocketType == E_IPC_TYPE_TCP) {
        KS_LOG_INFO("Close tcp service, listen ip:" << m_strListenIp << ", listen port:" << m_iListenPort);
    } else {
        KS_LOG_INFO("Close udp service, listen ip:" << m_strListenIp << ", listen port:" << m_iListenPort);
    }
    return 0;
}

int ICServiceBase::onReadData(CIpcHandleBase*, int, const char*)
{
    return 0;
}

void ICServiceBase::addCounters(CEndpointTap&) {}
