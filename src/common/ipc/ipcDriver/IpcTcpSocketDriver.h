#ifndef LUMBRIX_IPC_TCP_SOCKET_DRIVER_H
#define LUMBRIX_IPC_TCP_SOCKET_DRIVER_H

#include <atomic>
#include <mutex>
#include <string>

#include "common/ipc/ipcDriver/IpcDriverBase.h"
#include "common/core/KsSingleton.h"
#include "common/ipc/Reflex.h"

// The TCP driver, a process singleton serving listening sockets (type TCP)
// and connected ones (type TCP client). A ready listening socket accepts one
// connection, asks the listening handle's onConnected() for the
// connection's handle and registers it with the framework, which then owns
// it. A ready connection is read once into a stack buffer and handed to its
// handle; end of stream or an error calls onClosed(), unregisters the handle
// and closes its socket. It keeps no state of its own.
class CIpcTcpSocketDriver : public CIpcDriverBase, public CKsSingleton<CIpcTcpSocketDriver, std::recursive_mutex> {
    friend class CKsSingleton<CIpcTcpSocketDriver, std::recursive_mutex>;

public:
    // Registry creator: always the one instance.
    static void* create();

    int getDriverType() override { return E_IPC_TYPE_TCP; }
    int handleEvent(int eventType, CIpcHandleBase* handle) override;

    // A bound, listening socket, or -1.
    int createTcpServer(const std::string& ip, unsigned short port);
    // A socket connected to ip:port (blocking connect), or -1.
    int createTcpClient(const std::string& ip, unsigned short port);
    // Writes all of data; 0, or -1 on the first error.
    int sendData(int sockfd, const char* data, int len);
    // The same: a connected socket has its peer already.
    int sendData(int sockfd, const char* data, int len, const sockaddr_in&) override
    {
        return sendData(sockfd, data, len);
    }

    // Most bytes handed to a handle per readiness event.
    static const int MAX_READ_LEN = 4096;

private:
    CIpcTcpSocketDriver() = default;

    int acceptConnection(CIpcHandleBase* listener);
    int readConnection(CIpcHandleBase* handle);

    static CReflexRegister<CIpcDriverBase> ms_reflexRegister;
};

#endif
