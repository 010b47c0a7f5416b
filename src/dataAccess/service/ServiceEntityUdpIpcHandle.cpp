#include "dataAccess/service/ServiceEntityUdpIpcHandle.h"

#include "framework/EndpointTap.h"
#include "dataAccess/service/ServiceBase.h"

int CServiceEntityUdpIpcHandle::onReaded(int len, char* data)
{
    if (m_pService != nullptr) {
        if (CEndpointTap* tap = m_pService->tap()) {
            tap->received(getRemoteAddress(), len, data);
        }
        m_pService->onReadData(this, len, data);
    }
    return 0;
}
