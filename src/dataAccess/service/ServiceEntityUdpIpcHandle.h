#ifndef LUMBRIX_SERVICE_ENTITY_UDP_IPC_HANDLE_H
#define LUMBRIX_SERVICE_ENTITY_UDP_IPC_HANDLE_H

#include "common/ipc/IpcHandleBase.h"

class ICServiceBase;

// Socket handle of a service entity's UDP listener: passes every received
// datagram back to the entity that created it. The entity is not owned; it
// lives as long as the process, like the handle in the framework's map.
class CServiceEntityUdpIpcHandle : public CIpcHandleBase {
public:
    explicit CServiceEntityUdpIpcHandle(ICServiceBase* service) : m_pService(service) {}

    int onReaded(int len, char* data) override;

private:
    ICServiceBase* m_pService;
};

#endif
