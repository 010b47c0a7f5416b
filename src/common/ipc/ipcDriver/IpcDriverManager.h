#ifndef LUMBRIX_IPC_DRIVER_MANAGER_H
#define LUMBRIX_IPC_DRIVER_MANAGER_H

#include <atomic>
#include <map>
#include <mutex>

#include "IpcDriverBase.h"
#include "KsSingleton.h"

class CIpcHandleBase;

// Picks the driver for a ready handle by its IPC type. The map is filled
// once by init() from the factory registry and only read afterwards (on the
// event-loop thread). The drivers are process singletons: the manager shares
// them but never deletes them.
class CIpcDriverManager : public CKsSingleton<CIpcDriverManager> {
    friend class CKsSingleton<CIpcDriverManager>;

public:
    int init();
    void release();

    // A second driver of the same type replaces the first.
    void registerDriver(SPIpcDriverBase& driver);
    // Lets the handle's driver read its socket; -1 when no driver serves it.
    int handleEvent(CIpcHandleBase* handle);

private:
    CIpcDriverManager() = default;

    std::map<int, SPIpcDriverBase> m_mapIpcDriver;
};

#endif
