#ifndef LUMBRIX_IPC_FRAMEWORK_H
#define LUMBRIX_IPC_FRAMEWORK_H

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "common/ipc/IpcHandleBase.h"
#include "common/core/KsSingleton.h"

class CEventLoop;

// Facade of the IPC framework, a process singleton. It owns the one event
// loop and, in its handle map, every handle registered with that loop. The
// loop keeps only raw pointers, so a handle lives here until it is
// unregistered, and then with the loop until the loop has finished the
// dispatch round that may still be using it. Client handles are owned by
// whoever created them: their sockets are never registered, so replies to
// them are never read. Which driver sends for a type is the driver
// manager's decision.
class CIpcFramework : public CKsSingleton<CIpcFramework> {
    friend class CKsSingleton<CIpcFramework>;

public:
    // Starts the event loop and fills the driver manager; once per process.
    int init();
    // Unregisters and drops every handle and stops the loop, whose thread
    // leaves at its next wake-up.
    void release();

    // Bound UDP socket whose datagrams reach handle->onReaded.
    int createUDPServer(const std::string& ip, unsigned short port, std::shared_ptr<CIpcHandleBase> handle);
    // UDP sender towards remoteIp:remotePort; bound to localIp:localPort
    // when localPort is not 0, otherwise the kernel picks the source port.
    int createUDPClient(const std::string& remoteIp, unsigned short remotePort, std::shared_ptr<CIpcHandleBase> handle,
                        const std::string& localIp, unsigned short localPort);
    // Listening TCP socket; each accepted connection gets the handle that
    // handle->onConnected() supplies.
    int createTCPServer(const std::string& ip, unsigned short port, std::shared_ptr<CIpcHandleBase> handle);
    // TCP socket connected to ip:port.
    int createTCPClient(const std::string& ip, unsigned short port, std::shared_ptr<CIpcHandleBase> handle);

    int registerEvent(std::shared_ptr<CIpcHandleBase> handle);
    int unRegisterEvent(int fd);
    std::shared_ptr<CIpcHandleBase> getHandleBase(int fd);

    // Types UDP and UDP client go out as a datagram to ip:port, type TCP on
    // the stream; every other type sends nothing and reports success.
    int sendData(int ipcType, int fd, const char* data, int len, const std::string& ip, unsigned short port);
    // The same for handle, to its resolved remote address.
    int sendData(const CIpcHandleBase& handle, const char* data, int len)
    {
        return send(handle.getIpcType(), handle.getHandle(), data, len, handle.getRemoteAddress());
    }

private:
    CIpcFramework() = default;
    ~CIpcFramework();

    int send(int ipcType, int fd, const char* data, int len, const sockaddr_in& to);

    std::shared_ptr<CEventLoop> m_spEventLoop;
    std::map<int, std::shared_ptr<CIpcHandleBase>> m_mapHandle;
    // The loop thread registers accepted TCP connections while the main
    // thread may register endpoints.
    std::mutex m_mutexHandle;
};

#endif
