#include "SimUdpSocket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include "PcapWriter.h"

CSimUdpSocket::~CSimUdpSocket()
{
    if (m_fd >= 0) {
        close(m_fd);
    }
}

bool CSimUdpSocket::parseAddress(const std::string& text, sockaddr_in& out, std::string& error)
{
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size()) {
        error = "'" + text + "' is not an address of the form IP:PORT";
        return false;
    }
    const std::string ip = text.substr(0, colon);
    const std::string port = text.substr(colon + 1);
    char* end = nullptr;
    const long value = strtol(port.c_str(), &end, 10);
    if (*end != '\0' || value < 0 || value > 65535) {
        error = "'" + port + "' is not a port number (0 to 65535)";
        return false;
    }
    memset(&out, 0, sizeof(out));
    out.sin_family = AF_INET;
    out.sin_port = htons(static_cast<uint16_t>(value));
    if (inet_aton(ip.c_str(), &out.sin_addr) == 0) {
        error = "'" + ip + "' is not an IPv4 address";
        return false;
    }
    return true;
}

std::string CSimUdpSocket::addressText(const sockaddr_in& address)
{
    char ip[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &address.sin_addr, ip, sizeof(ip));
    return std::string(ip) + ":" + std::to_string(ntohs(address.sin_port));
}

int CSimUdpSocket::bind(const sockaddr_in& address, std::string& error)
{
    m_fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_fd < 0) {
        error = std::string("cannot create a UDP socket: ") + strerror(errno);
        return -1;
    }
    if (::bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        error = "cannot listen on " + addressText(address) + ": " + strerror(errno);
        close(m_fd);
        m_fd = -1;
        return -1;
    }
    socklen_t len = sizeof(m_local);
    getsockname(m_fd, reinterpret_cast<sockaddr*>(&m_local), &len);
    return 0;
}

int CSimUdpSocket::sendTo(const sockaddr_in& to, const uint8_t* data, size_t length)
{
    // Stamped before it leaves, so that in a merged capture it comes before
    // what the receiver does with it.
    timeval now{};
    gettimeofday(&now, nullptr);
    const ssize_t sent = sendto(m_fd, data, length, 0, reinterpret_cast<const sockaddr*>(&to), sizeof(to));
    if (sent != static_cast<ssize_t>(length)) {
        return -1;
    }
    if (m_pCapture != nullptr) {
        m_pCapture->record(m_local, to, data, length, &now);
    }
    return 0;
}

int CSimUdpSocket::receive(uint8_t* buffer, size_t capacity, int timeoutMs, sockaddr_in& from)
{
    pollfd pfd{m_fd, POLLIN, 0};
    const int ready = poll(&pfd, 1, timeoutMs);
    if (ready < 0) {
        return errno == EINTR ? 0 : -1;
    }
    if (ready == 0) {
        return 0;
    }
    socklen_t len = sizeof(from);
    const ssize_t n = recvfrom(m_fd, buffer, capacity, 0, reinterpret_cast<sockaddr*>(&from), &len);
    if (n < 0) {
        return errno == EINTR || errno == EAGAIN ? 0 : -1;
    }
    if (m_pCapture != nullptr) {
        m_pCapture->record(from, m_local, buffer, static_cast<size_t>(n));
    }
    return static_cast<int>(n);
}
