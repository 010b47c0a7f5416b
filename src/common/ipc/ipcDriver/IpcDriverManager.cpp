#include "common/ipc/ipcDriver/IpcDriverManager.h"

#include <cstdio>
#include <list>

#include "common/ipc/IpcHandleBase.h"
#include "common/ipc/Reflex.h"

int CIpcDriverManager::init()
{
    std::list<CIpcDriverBase*> drivers;
    CReflex<CIpcDriverBase>::create("IpcEventHandle", drivers);
    for (CIpcDriverBase* driver : drivers) {
        // Singletons: shared here, never deleted.
        SPIpcDriverBase spDriver(driver, [](CIpcDriverBase*) {});
        registerDriver(spDriver);
    }
    return 0;
}

void CIpcDriverManager::release()
{
    m_mapIpcDriver.clear();
    routeDrivers();
}

void CIpcDriverManager::registerDriver(SPIpcDriverBase& driver)
{
    m_mapIpcDriver[driver->getDriverType()] = driver;
    routeDrivers();
}

void CIpcDriverManager::routeDrivers()
{
    const auto driverOf = [this](int driverType) -> CIpcDriverBase* {
        auto it = m_mapIpcDriver.find(driverType);
        return it == m_mapIpcDriver.end() ? nullptr : it->second.get();
    };
    for (int type = 0; type < IPC_TYPE_COUNT; ++type) {
        // A connected TCP socket is read by the TCP driver but sends
        // nothing; a UDP client sends through the UDP driver but has no
        // driver to read it.
        m_apReadDriver[type] = driverOf(type == E_IPC_TYPE_TCP_Client ? E_IPC_TYPE_TCP : type);
        const bool sends = type == E_IPC_TYPE_TCP || type == E_IPC_TYPE_UDP || type == E_IPC_TYPE_UDP_Client;
        m_apSendDriver[type] = sends ? driverOf(type == E_IPC_TYPE_UDP_Client ? E_IPC_TYPE_UDP : type) : nullptr;
    }
}

int CIpcDriverManager::handleEvent(CIpcHandleBase* handle)
{
    const int ipcType = handle->getIpcType();
    CIpcDriverBase* driver = ipcType >= 0 && ipcType < IPC_TYPE_COUNT ? m_apReadDriver[ipcType] : nullptr;
    if (driver == nullptr) {
        printf("handle a msg failed, ipc type:%d\n", ipcType);
        return -1;
    }
    const int eventType = ipcType == E_IPC_TYPE_TCP ? E_EVENT_TYPE_CONNECTION : E_EVENT_TYPE_MESSAGE;
    return driver->handleEvent(eventType, handle);
}
