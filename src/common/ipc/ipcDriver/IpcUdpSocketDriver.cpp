#include "IpcUdpSocketDriver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "IpcHandleBase.h"
#include "KsLog.h"

namespace {

// The dotted-quad text inet_ntoa gives for addr, written without printf:
// it is needed for every datagram received.
void ipv4Text(in_addr addr, std::string& out)
{
    const uint8_t* octet = reinterpret_cast<const uint8_t*>(&addr.s_addr); // network order
    char text[16];
    char* p = text;
    for (int i = 0; i < 4; ++i) {
        const unsigned v = octet[i];
        if (v >= 100) {
            *p++ = static_cast<char>('0' + v / 100);
        }
        if (v >= 10) {
            *p++ = static_cast<char>('0' + v / 10 % 10);
        }
        *p++ = static_cast<char>('0' + v % 10);
        if (i < 3) {
            *p++ = '.';
        }
    }
    out.assign(text, static_cast<size_t>(p - text));
}

// inet_aton of the last address text a thread sent to (a client always sends
// to the same peer), so that its text is not parsed again for every datagram.
// The result, failure included, depends on the text alone.
in_addr sendAddress(const std::string& ip)
{
    static thread_local char s_lastText[16] = {};
    static thread_local size_t s_lastLen = 0;
    static thread_local in_addr s_lastAddr = {};
    static thread_local bool s_valid = false;
    if (s_valid && ip.size() == s_lastLen && std::memcmp(ip.data(), s_lastText, s_lastLen) == 0) {
        return s_lastAddr;
    }
    in_addr addr = {};
    inet_aton(ip.c_str(), &addr);
    // Only texts that fit are remembered; a longer one is parsed every time.
    if (ip.size() < sizeof(s_lastText)) {
        std::memcpy(s_lastText, ip.data(), ip.size());
        s_lastLen = ip.size();
        s_lastAddr = addr;
        s_valid = true;
    }
    return addr;
}

} // namespace

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
    std::string ip;
    unsigned short port = 0;
    if (recvData(handle->getHandle(), len, buf, sizeof(buf), ip, port) == -1) {
        KS_LOG_ERROR("error in recvData");
        return -1;
    }
    handle->setRemoteIP(ip);
    handle->setRemotePort(port);
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

int CIpcUdpSocketDriver::recvData(int sockfd, int& len, char* buf, int bufLen, std::string& ip,
                                  unsigned short& port)
{
    if (sockfd < 0) {
        KS_LOG_ERROR("When receive data, the socket is not init.");
        return -1;
    }
    sockaddr_in from = {};
    socklen_t fromLen = sizeof(from);
    // A receive error is not told apart: len is then -1 and goes to the handle.
    len = static_cast<int>(recvfrom(sockfd, buf, bufLen, 0, reinterpret_cast<sockaddr*>(&from), &fromLen));
    ipv4Text(from.sin_addr, ip);
    port = ntohs(from.sin_port);
    KS_LOG_DEBUG("Receive msg from remote, ip: " << ip << ", port: " << port);
    return 0;
}

int CIpcUdpSocketDriver::sendData(int sockfd, const char* data, int len, const std::string& ip,
                                  unsigned short port)
{
    if (sockfd < 0) {
        // The send path shares the receive path's message.
        KS_LOG_ERROR("When receive data, the socket is not init.");
        return -1;
    }
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr = sendAddress(ip);
    const ssize_t sent = sendto(sockfd, data, len, 0, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
    if (sent == len) {
        return 0;
    }
    perror("CIpcUdpSocketDriver::sendData sendto");
    KS_LOG_ERROR("Fail to send data.");
    return -1;
}

int CIpcUdpSocketDriver::sendData(int sockfd, const std::string& data, const std::string& ip,
                                  unsigned short port)
{
    return sendData(sockfd, data.data(), static_cast<int>(data.size()), ip, port);
}
