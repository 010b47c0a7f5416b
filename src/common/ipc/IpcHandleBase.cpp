#include "common/ipc/IpcHandleBase.h"

#include "common/ipc/IpcFramework.h"
#include "common/ipc/Ipv4Address.h"

std::shared_ptr<CIpcHandleBase> CIpcHandleBase::onConnected()
{
    return nullptr;
}

int CIpcHandleBase::onReaded(int, char*)
{
    return 0;
}

int CIpcHandleBase::onClosed()
{
    return 0;
}

int CIpcHandleBase::sendData(const char* data, int len)
{
    // 0 or -1, as the framework reports.
    return CIpcFramework::getInstance()->sendData(*this, data, len);
}

int CIpcHandleBase::sendData(std::string& data)
{
    return sendData(data.data(), static_cast<int>(data.size()));
}

void CIpcHandleBase::setRemoteIP(const std::string& ip)
{
    m_remoteAddr.sin_addr = ipv4Host(ip);
}

std::string CIpcHandleBase::getRemoteIP() const
{
    return ipv4Text(m_remoteAddr.sin_addr);
}
