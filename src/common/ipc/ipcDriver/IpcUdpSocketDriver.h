#ifndef LUMBRIX_IPC_UDP_SOCKET_DRIVER_H
#define LUMBRIX_IPC_UDP_SOCKET_DRIVER_H

#include <atomic>
#include <mutex>
#include <string>

#include "common/ipc/ipcDriver/IpcDriverBase.h"
#include "common/core/KsSingleton.h"
#include "common/ipc/Reflex.h"

// The UDP driver, a process singleton: opens bound server sockets and
// unbound client sockets (their descriptors belong to the caller), reads one
// datagram per readiness event into a stack buffer and hands it to the
// handle, remembering the sender in the handle, and sends datagrams. It
// keeps no state.
class CIpcUdpSocketDriver : public CIpcDriverBase, public CKsSingleton<CIpcUdpSocketDriver, std::recursive_mutex> {
    friend class CKsSingleton<CIpcUdpSocketDriver, std::recursive_mutex>;

public:
    // Registry creator: always the one instance.
    static void* create();

    int getDriverType() override { return E_IPC_TYPE_UDP; }
    int handleEvent(int eventType, CIpcHandleBase* handle) override;

    // The descriptor, or -1.
    int createUdpServer(const std::string& ip, unsigned short port);
    int createUdpClient();

    // One datagram into buf; len is recvfrom's result (-1 on an error) and
    // from its sender.
    int recvData(int sockfd, int& len, char* buf, int bufLen, sockaddr_in& from);
    int sendData(int sockfd, const char* data, int len, const sockaddr_in& to) override;
    int sendData(int sockfd, const char* data, int len, const std::string& ip, unsigned short port);
    int sendData(int sockfd, const std::string& data, const std::string& ip, unsigned short port);

    // Largest datagram delivered to a handle; longer ones are cut.
    static const int MAX_DATAGRAM_LEN = 4096;

private:
    CIpcUdpSocketDriver() = default;

    static CReflexRegister<CIpcDriverBase> ms_reflexRegister;
};

#endif
