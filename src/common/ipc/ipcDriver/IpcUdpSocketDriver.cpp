#include "common/ipc/ipcDriver/IpcUdpSocketDriver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>

#include "common/ipc/IpcHandleBase.h"
#include "common/ipc/Ipv4Address.h"
#include "common/core/KsLog.h"

CReflexRegister<CIpcDriverBase> CIpcUdpSocketDriver::ms_reflexRegister("IpcEventHandle.udp",
                                                                       &CIpcUdpSocketDriver::create);

void* CIpcUdpSocketDriver::create()
{
    return static_cast<CIpcDriverBase*>(getInstance());
}

int CIpcUdpSocketDriver::handleEvent(int eventType, CIpcHandleBase* handle)
{
    if (eventType != E_EVENT_TYPE_MESSAGE) {
        return 0;
    }
    char buf[MAX_DATAGRAM_LEN];
    int len = 0;
    sockaddr_in from = {};
    if (recvData(handle->getHandle(), len, buf, sizeof(buf), from) == -1) {
        KS_LOG_ERROR("error in recvData");
        return -1;
    }
    handle->setRemoteAddress(from);
    handle->onReaded(len, buf);
    return 0;
}

int CIpcUdpSocketDriver::createUdpServer(const std::string& ip, unsigned short port)
{
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = inet_addr(ip.c_str());
    const int sockfd = socket(AF_INET, SOCK_DGRAM, 0);
    if (sockfd < 0) {
        KS_LOG_ERROR("error in socket");
        return -1;
    }
    if (bind(sockfd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        // The socket stays open.
        KS_LOG_ERROR("error in udp bind");
        return -1;
    }
    printf("create Udp server: %s : %u, sockfd = %d\n", ip.c_str(), port, sockfd);
    return sockfd;
}

int CIpcUdpSocketDriver::createUdpClient()
{
    const int sockfd = socket(AF_INET, SOCK_DGRAM, 0);
    if (sockfd < 0) {
        KS_LOG_ERROR("error in socket");
        return -1;
    }
    return sockfd;
}

int CIpcUdpSocketDriver::recvData(int sockfd, int& len, char* buf, int bufLen, sockaddr_in& from)
{
    if (sockfd < 0) {
        KS_LOG_ERROR("When receive data, the socket is not init.");
        return -1;
    }
    socklen_t fromLen = sizeof(from);
    // A receive error is not told apart: len is then -1 and goes to the handle.
    len = static_cast<int>(recvfrom(sockfd, buf, bufLen, 0, reinterpret_cast<sockaddr*>(&from), &fromLen));
    // The sender's text is made only when the line is written.
    KS_LOG_DEBUG("Receive msg from remote, ip: " << ipv4Text(from.sin_addr) << ", port: " << ntohs(from.sin_port));
    return 0;
}

int CIpcUdpSocketDriver::sendData(int sockfd, const char* data, int len, const std::string& ip, unsigned short port)
{
    return sendData(sockfd, data, len, ipv4Address(ip, port));
}

int CIpcUdpSocketDriver::sendData(int sockfd, const char* data, int len, const sockaddr_in& to)
{
    if (sockfd < 0) {
        // The send path shares the receive path's message.
        KS_LOG_ERROR("When receive data, the socket is not init.");
        return -1;
    }
    const ssize_t sent = sendto(sockfd, data, len, 0, reinterpret_cast<const sockaddr*>(&to), sizeof(to));
    if (sent == len) {
        return 0;
    }
    perror("CIpcUdpSocketDriver::sendData sendto");
    KS_LOG_ERROR("Fail to send data.");
    return -1;
}

int CIpcUdpSocketDriver::sendData(int sockfd, const std::string& data, const std::string& ip, unsigned short port)
{
    return sendData(sockfd, data.data(), static_cast<int>(data.size()), ip, port);
}
