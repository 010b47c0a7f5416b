#include "common/ipc/ipcDriver/IpcTcpSocketDriver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "common/ipc/IpcFramework.h"
#include "common/ipc/IpcHandleBase.h"
#include "common/core/KsLog.h"

CReflexRegister<CIpcDriverBase> CIpcTcpSocketDriver::ms_reflexRegister("IpcEventHandle.tcp",
                                                                       &CIpcTcpSocketDriver::create);

namespace {
// Pending connections a listening socket queues before accept.
const int kListenBacklog = 16;

sockaddr_in makeAddress(const std::string& ip, unsigned short port)
{
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = inet_addr(ip.c_str());
    return addr;
}
} // namespace

void* CIpcTcpSocketDriver::create()
{
    return static_cast<CIpcDriverBase*>(getInstance());
}

int CIpcTcpSocketDriver::handleEvent(int eventType, CIpcHandleBase* handle)
{
    if (eventType == E_EVENT_TYPE_CONNECTION) {
        return acceptConnection(handle);
    }
    if (eventType == E_EVENT_TYPE_MESSAGE) {
        return readConnection(handle);
    }
    return 0;
}

int CIpcTcpSocketDriver::createTcpServer(const std::string& ip, unsigned short port)
{
    const int sockfd = socket(AF_INET, SOCK_STREAM, 0);
    if (sockfd < 0) {
        KS_LOG_ERROR("error in tcp socket");
        return -1;
    }
    const int reuse = 1;
    setsockopt(sockfd, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof(reuse));
    sockaddr_in addr = makeAddress(ip, port);
    if (bind(sockfd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        const int error = errno;
        KS_LOG_ERROR("error in tcp bind, error:" << error);
        close(sockfd);
        return -1;
    }
    if (listen(sockfd, kListenBacklog) != 0) {
        const int error = errno;
        KS_LOG_ERROR("error in tcp listen, error:" << error);
        close(sockfd);
        return -1;
    }
    KS_LOG_INFO("Create tcp server success, ip:" << ip << ", port:" << port << ", fd:" << sockfd);
    return sockfd;
}

int CIpcTcpSocketDriver::createTcpClient(const std::string& ip, unsigned short port)
{
    const int sockfd = socket(AF_INET, SOCK_STREAM, 0);
    if (sockfd < 0) {
        KS_LOG_ERROR("error in tcp socket");
        return -1;
    }
    sockaddr_in addr = makeAddress(ip, port);
    if (connect(sockfd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        const int error = errno;
        KS_LOG_ERROR("error in tcp connect, error:" << error << ", ip:" << ip << ", port:" << port);
        close(sockfd);
        return -1;
    }
    return sockfd;
}

int CIpcTcpSocketDriver::sendData(int sockfd, const char* data, int len)
{
    if (sockfd < 0 || len < 0) {
        KS_LOG_ERROR("When send tcp data, the socket is not init.");
        return -1;
    }
    int sent = 0;
    while (sent < len) {
        const ssize_t n = send(sockfd, data + sent, len - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            const int error = errno;
            KS_LOG_ERROR("Fail to send tcp data, error:" << error << ", fd:" << sockfd);
            return -1;
        }
        sent += static_cast<int>(n);
    }
    return 0;
}

int CIpcTcpSocketDriver::acceptConnection(CIpcHandleBase* listener)
{
    sockaddr_in peer = {};
    socklen_t peerLen = sizeof(peer);
    const int connfd = accept(listener->getHandle(), reinterpret_cast<sockaddr*>(&peer), &peerLen);
    if (connfd < 0) {
        const int error = errno;
        KS_LOG_ERROR("error in tcp accept, error:" << error << ", fd:" << listener->getHandle());
        return -1;
    }
    std::shared_ptr<CIpcHandleBase> connection = listener->onConnected();
    if (!connection) {
        KS_LOG_ERROR("No handle for an accepted tcp connection, name:" << listener->getName());
        close(connfd);
        return -1;
    }
    connection->setHandle(connfd);
    connection->setIpcType(E_IPC_TYPE_TCP_Client);
    connection->setLocalIP(listener->getLocalIP());
    connection->setLocalPort(listener->getLocalPort());
    connection->setRemoteIP(inet_ntoa(peer.sin_addr));
    connection->setRemotePort(ntohs(peer.sin_port));
    if (CIpcFramework::getInstance()->registerEvent(connection) != 0) {
        close(connfd);
        return -1;
    }
    return 0;
}

int CIpcTcpSocketDriver::readConnection(CIpcHandleBase* handle)
{
    const int fd = handle->getHandle();
    char buf[MAX_READ_LEN];
    const ssize_t n = recv(fd, buf, sizeof(buf), 0);
    if (n > 0) {
        handle->onReaded(static_cast<int>(n), buf);
        return 0;
    }
    if (n < 0 && errno == EINTR) {
        return 0;
    }
    KS_LOG_INFO("Tcp connection closed, fd:" << fd);
    handle->onClosed();
    // The framework drops its handle here: nothing may touch it afterwards.
    CIpcFramework::getInstance()->unRegisterEvent(fd);
    close(fd);
    return 0;
}
