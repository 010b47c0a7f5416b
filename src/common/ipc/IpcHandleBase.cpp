#include "IpcHandleBase.h"

#include "IpcFramework.h"

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
    const int result = CIpcFramework::getInstance()->sendData(m_ipcType, m_handle, data, len,
                                                              m_strRemoteIP, m_iRemotePort);
    return result == -1 ? -1 : 0;
}

int CIpcHandleBase::sendData(std::string& data)
{
    return sendData(data.data(), static_cast<int>(data.size()));
}
