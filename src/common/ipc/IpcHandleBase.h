#ifndef LUMBRIX_IPC_HANDLE_BASE_H
#define LUMBRIX_IPC_HANDLE_BASE_H

#include <cstdint>
#include <memory>
#include <string>

#include "IpcDefine.h"

// One socket of the IPC framework: its descriptor, IPC type and addresses,
// and the callbacks through which a driver reports a connection, data or
// closing. The handle does not own its descriptor (the framework and the
// drivers open and close sockets); the framework's handle map owns the
// handles of registered sockets, and the event loop keeps only raw pointers.
class CIpcHandleBase {
public:
    CIpcHandleBase() = default;
    virtual ~CIpcHandleBase() = default;

    // A listening TCP handle supplies here the handle of an accepted
    // connection; the base supplies none.
    virtual std::shared_ptr<CIpcHandleBase> onConnected();
    virtual int onReaded(int len, char* data);
    virtual int onClosed();

    // Sends through the framework to this handle's remote address.
    int sendData(const char* data, int len);
    int sendData(std::string& data);

    void setName(const std::string& name) { m_strName = name; }
    const std::string& getName() const { return m_strName; }
    void setHandle(int handle) { m_handle = handle; }
    int getHandle() const { return m_handle; }
    void setIpcType(int ipcType) { m_ipcType = ipcType; }
    int getIpcType() const { return m_ipcType; }
    void setLocalIP(const std::string& ip) { m_strLocalIP = ip; }
    const std::string& getLocalIP() const { return m_strLocalIP; }
    void setRemoteIP(const std::string& ip) { m_strRemoteIP = ip; }
    const std::string& getRemoteIP() const { return m_strRemoteIP; }
    void setLocalPort(uint16_t port) { m_iLocalPort = port; }
    uint16_t getLocalPort() const { return m_iLocalPort; }
    void setRemotePort(uint16_t port) { m_iRemotePort = port; }
    uint16_t getRemotePort() const { return m_iRemotePort; }

private:
    std::string m_strName;
    int m_ipcType = E_IPC_TYPE_DEFAULT;
    int m_handle = -1;
    std::string m_strLocalIP;
    uint16_t m_iLocalPort = 0;
    std::string m_strRemoteIP;
    uint16_t m_iRemotePort = 0;
};

#endif
