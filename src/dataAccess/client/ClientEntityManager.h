#ifndef LUMBRIX_CLIENT_ENTITY_MANAGER_H
#define LUMBRIX_CLIENT_ENTITY_MANAGER_H

#include <memory>
#include <mutex>
#include <vector>

#include "dataAccess/client/ClientBase.h"
#include "common/core/KsSingleton.h"

// Owns the started client entities, one slot per service id (0 to 3), and
// sends on their behalf. Every handler addresses its peer only by service
// id through sendData. The slots are filled during start-up and read
// without locks afterwards; sending itself needs no lock.
class CClientEntityManager : public CKsSingleton<CClientEntityManager> {
    friend class CKsSingleton<CClientEntityManager>;

public:
    // Makes exactly one slot per service id 0 to 3.
    int init();
    int release();

    // Stores client in the slot of its service id, replacing any earlier
    // one; a null client or an id without a slot is ignored.
    void addClientEntity(std::shared_ptr<ICClientBase> client);

    // One message to the peer of serviceId; 0 or -1.
    int sendData(int serviceId, int len, const char* data);

private:
    CClientEntityManager() = default;
    ~CClientEntityManager() = default;
    CClientEntityManager(const CClientEntityManager&) = delete;
    CClientEntityManager& operator=(const CClientEntityManager&) = delete;

    std::vector<std::shared_ptr<ICClientBase>> m_vecClient;
};

#endif
