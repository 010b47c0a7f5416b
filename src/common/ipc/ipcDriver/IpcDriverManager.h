#ifndef LUMBRIX_IPC_DRIVER_MANAGER_H
#define LUMBRIX_IPC_DRIVER_MANAGER_H

#include <atomic>
#include <map>
#include <mutex>

#include "common/ipc/ipcDriver/IpcDriverBase.h"
#include "common/core/KsSingleton.h"

class CIpcHandleBase;

// The one place that decides which driver serves a handle, by its IPC type:
// for reading a ready socket (on the event-loop thread) and for sending.
// The map is filled once by init() from the factory registry and only read
// afterwards. The drivers are process singletons: the manager shares them
// but never deletes them.
class CIpcDriverManager : public CKsSingleton<CIpcDriverManager> {
    friend class CKsSingleton<CIpcDriverManager>;

public:
    int init();
    void release();

    // A second driver of the same type replaces the first.
    void registerDriver(SPIpcDriverBase& driver);
    // Lets the handle's driver read its socket; -1 when no driver serves it.
    int handleEvent(CIpcHandleBase* handle);
    // The driver that sends for handles of ipcType, or null: such a handle
    // sends nothing.
    CIpcDriverBase* sendDriver(int ipcType) const
    {
        return ipcType >= 0 && ipcType < IPC_TYPE_COUNT ? m_apSendDriver[ipcType] : nullptr;
    }

private:
    CIpcDriverManager() = default;

    void routeDrivers();

    static constexpr int IPC_TYPE_COUNT = E_IPC_TYPE_UDP_Client + 1;

    std::map<int, SPIpcDriverBase> m_mapIpcDriver;
    // By IPC type, worked out from the map whenever a driver registers.
    CIpcDriverBase* m_apReadDriver[IPC_TYPE_COUNT] = {};
    CIpcDriverBase* m_apSendDriver[IPC_TYPE_COUNT] = {};
};

#endif
