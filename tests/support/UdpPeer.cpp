#include "UdpPeer.h"

#include <arpa/inet.h>
#include <cstdio>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

sockaddr_in loopback(uint16_t port)
{
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    return addr;
}

// A UDP socket bound to 127.0.0.1 on a port of the kernel's choice, or -1.
int bindLoopback(uint16_t& port)
{
    sockaddr_in addr = loopback(0);
    socklen_t len = sizeof(addr);
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    if (fd >= 0 && (bind(fd, reinterpret_cast<sockaddr*>(&addr), len) != 0 ||
                    getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) != 0)) {
        close(fd);
        return -1;
    }
    port = ntohs(addr.sin_port);
    return fd;
}

} // namespace

UdpPeer::UdpPeer() : m_fd(bindLoopback(m_port))
{
    const int size = 4 * 1024 * 1024;
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
    }
    m_fd = -1;
}

bool UdpPeer::sendTo(uint16_t port, const std::string& bytes)
{
    const sockaddr_in addr = loopback(port);
    return sendto(m_fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&addr), sizeof(addr)) ==
           static_cast<ssize_t>(bytes.size());
}

bool UdpPeer::sendTo(uint16_t port, const std::vector<uint8_t>& bytes)
{
    return sendTo(port, bytesOf(bytes));
}

bool UdpPeer::receive(std::string& out, int timeoutMs)
{
    pollfd p{m_fd, POLLIN, 0};
    char buf[65536];
    const ssize_t n = poll(&p, 1, timeoutMs) > 0 ? recv(m_fd, buf, sizeof(buf), 0) : -1;
    if (n >= 0) {
        out.assign(buf, static_cast<size_t>(n));
    }
    return n >= 0;
}

uint16_t freeUdpPort()
{
    uint16_t port = 0;
    const int fd = bindLoopback(port);
    close(fd);
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
