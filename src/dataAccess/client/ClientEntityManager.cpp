#include "dataAccess/client/ClientEntityManager.h"

#include "common/core/KsLog.h"

int CClientEntityManager::init()
{
    m_vecClient.resize(E_SERVICE_ID_END);
    return 0;
}

int CClientEntityManager::release()
{
    return 0;
}

void CClientEntityManager::addClientEntity(std::shared_ptr<ICClientBase> client)
{
    if (!client) {
        return;
    }
    const int serviceId = client->getServiceId();
    if (serviceId < 0 || serviceId >= static_cast<int>(m_vecClient.size())) {
        return;
    }
    m_vecClient[serviceId] = client;
}

int CClientEntityManager::sendData(int serviceId, int len, const char* data)
{
    if (serviceId >= 0 && serviceId < static_cast<int>(m_vecClient.size()) && m_vecClient[serviceId]) {
        return m_vecClient[serviceId]->sendData(len, data);
    }
    KS_LOG_ERROR("When send data to service[" << serviceId << "], the service is not exist.");
    return -1;
}
