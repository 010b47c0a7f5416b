#include "IpcDriverManager.h"

#include <cstdio>
#include <list>

#include "IpcHandleBase.h"
#include "Reflex.h"


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
}

void CIpcDriverManager::registerDriver(SPIpcDriverBase& driver)
{
    m_mapIpcDriver[driver->getDriverType()] = driver;
}

int CIpcDriverManager::handleEvent(CIpcHandleBase* handle)
{
    const int ipcType = handle->getIpcType();
    // A connected TCP socket is served by the TCP driver.
    const int driverType = ipcType == E_IPC_TYPE_TCP_Client ? E_IPC_TYPE_TCP : ipcType;
    auto it = m_mapIpcDriver.find(driverType);
    if (it == m_mapIpcDriver.end()) {
        printf("handle a msg failed, ipc type:%d\n", ipcType);
        return -1;
    }
    const int eventType = ipcType == E_IPC_TYPE_TCP ? E_EVENT_TYPE_CONNECTION : E_EVENT_TYPE_MESSAGE;
    return it->second->handleEvent(eventType, handle);
}
