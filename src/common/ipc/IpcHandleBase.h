#ifndef LUMBRIX_IPC_HANDLE_BASE_H
#define LUMBRIX_IPC_HANDLE_BASE_H

#include <netinet/in.h>

#include <cstdint>
#include <memory>
#include <string>

#include "common/ipc/IpcDefine.h"

// One socket of the IPC framework: its descriptor, IPC type and addresses,
// and the callbacks through which a driver reports a connection, data or
// closing. The handle does not own its descriptor (the framework and the
// drivers open and close sockets); the framework's handle map owns the
// handles of registered sockets, and the event loop keeps only raw pointers.
// The remote address is kept resolved: a client's destination is parsed once
// when it is set, and a server's is the sender of its latest datagram, stored
// as the kernel gave it.
class CIpcHandleBase {
public:
    CIpcHandleBase() = default;
    virtual ~CIpcHandleBase() = default;

    // A listening TCP handle supplies here the handle of an accepted
    // connection; the base supplies none.
    virtual std::shared_ptr<CIpcHandleBase> onConnected();
    virtual int onReaded(int len, char* data);
    virtual int onClosed();

    // Sends through the framework (the driver of this handle's IPC type) to
    // this handle's remote address.
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
    // An address text that does not parse stands for 0.0.0.0.
    void setRemoteIP(const std::string& ip);
    std::string getRemoteIP() const;
    void setLocalPort(uint16_t port) { m_iLocalPort = port; }
    uint16_t getLocalPort() const { return m_iLocalPort; }
    void setRemotePort(uint16_t port) { m_remoteAddr.sin_port = htons(port); }
    uint16_t getRemotePort() const { return ntohs(m_remoteAddr.sin_port); }
    void setRemoteAddress(const sockaddr_in& addr) { m_remoteAddr = addr; }
    const sockaddr_in& getRemoteAddress() const { return m_remoteAddr; }

private:
    std::string m_strName;
    int m_ipcType = E_IPC_TYPE_DEFAULT;
    int m_handle = -1;
    std::string m_strLocalIP;
    uint16_t m_iLocalPort = 0;
    sockaddr_in m_remoteAddr = {AF_INET, 0, {0}, {0}};
};

#endif
