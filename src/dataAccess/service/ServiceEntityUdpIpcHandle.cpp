#include "ServiceEntityUdpIpcHandle.h"

#include "ServiceBase.h"

int CServiceEntityUdpIpcHandle::onReaded(int len, char* data)
{
    if (m_pService != nullptr) {
        m_pService->onReadData(this, len, data);
    }
    return 0;
}
