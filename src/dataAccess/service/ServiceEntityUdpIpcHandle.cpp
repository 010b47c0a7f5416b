#include "dataAccess/service/ServiceEntityUdpIpcHandle.h"

#include "dataAccess/service/ServiceBase.h"

int CServiceEntityUdpIpcHandle::onReaded(int len, char* data)
{
    if (m_pService != nullptr) {
        m_pService->onReadData(this, len, data);
    }
    return 0;
}
