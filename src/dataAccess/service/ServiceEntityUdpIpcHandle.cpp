#include "ServiceEntityUdpIpcHandle.h"

#include "EndpointTap.h"
#include "ServiceBase.h"

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
