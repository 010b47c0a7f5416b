#include "common/ipc/IpcHandleWrapper.h"

#include <utility>

CIpcHandleWrapper::CIpcHandleWrapper(std::shared_ptr<CIpcHandleBase> handle) : m_spHandle(std::move(handle)) {}

int CIpcHandleWrapper::sendData(const char* data, int len)
{
    return m_spHandle ? m_spHandle->sendData(data, len) : -1;
}

int CIpcHandleWrapper::sendData(std::string& data)
{
    return m_spHandle ? m_spHandle->sendData(data) : -1;
}
