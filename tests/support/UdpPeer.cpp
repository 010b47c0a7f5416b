#include "UdpPeer.h"

#include <arpa/inet.h>
#include <cstdio>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int bindLoopback(uint16_t& port)
{
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd < 0) {
        return -1;
    }
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    if (bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)) != 0) {
        close(fd);
        return -1;
    }
    socklen_t len = sizeof(addr);
    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    port = ntohs(addr.sin_port);
    return fd;
}

} // namespace

UdpPeer::UdpPeer()
{
    m_fd = bindLoopback(m_port);
    int size = 4 * 1024 * 1024;
    setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof(size));
}

UdpPeer::~UdpPeer()
{
    close();
}

void UdpPeer::close()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

bool UdpPeer::sendTo(uint16_t port, const std::string& bytes)
{
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    ssize_t n = sendto(m_fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
    return n == static_cast<ssize_t>(bytes.size());
}

bool UdpPeer::sendTo(uint16_t port, const std::vector<uint8_t>& bytes)
{
    return sendTo(port, bytesOf(bytes));
}

bool UdpPeer::receive(std::string& out, int timeoutMs)
{
    pollfd p{m_fd, POLLIN, 0};
    if (poll(&p, 1, timeoutMs) <= 0) {
        return false;
    }
    char buf[65536];
    ssize_t n = recv(m_fd, buf, sizeof(buf), 0);
    if (n < 0) {
        return false;
    }
    out.assign(buf, static_cast<size_t>(n));
    return true;
}

uint16_t freeUdpPort()
{
    uint16_t port = 0;
    int fd = bindLoopback(port);
    if (fd >= 0) {
        close(fd);
    }
    return port;
}

std::string hexOf(const std::string& bytes)
{
    std::string out;
    char tmp[4];
    for (unsigned char c : bytes) {
        snprintf(tmp, sizeof(tmp), "%02X", c);
        out += tmp;
    }
    return out;
}

std::string bytesOf(const std::vector<uint8_t>& bytes)
{
    return std::string(bytes.begin(), bytes.end());
}
