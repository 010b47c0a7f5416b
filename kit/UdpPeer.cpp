#include "kit/UdpPeer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

CUdpPeer::CUdpPeer(int loopbackPort)
{
    std::string error;
    if (loopbackPort >= 0 && bind(loopback(static_cast<uint16_t>(loopbackPort)), error) == 0) {
        const int size = 4 * 1024 * 1024;
        setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof(size));
    }
}

CUdpPeer::~CUdpPeer()
{
    close();
}

bool CUdpPeer::parseAddress(const std::string& text, sockaddr_in& out, std::string& error)
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
    out = loopback(static_cast<uint16_t>(value));
    if (inet_aton(ip.c_str(), &out.sin_addr) == 0) {
        error = "'" + ip + "' is not an IPv4 address";
        return false;
    }
    return true;
}

std::string CUdpPeer::addressText(const sockaddr_in& address)
{
    char ip[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &address.sin_addr, ip, sizeof(ip));
    return std::string(ip) + ":" + std::to_string(ntohs(address.sin_port));
}

sockaddr_in CUdpPeer::loopback(uint16_t port)
{
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    return addr;
}

uint16_t CUdpPeer::freePort()
{
    CUdpPeer peer(0);
    return peer.port();
}

std::vector<pid_t> CUdpPeer::holders(uint16_t port)
{
    // A row of /proc/net/udp: sl, local address, remote address, state,
    // queues, timer, retransmits, uid, timeout, inode ...
    char local[16];
    snprintf(local, sizeof(local), "0100007F:%04X", port);
    std::ifstream table("/proc/net/udp");
    std::set<std::string> sockets;
    for (std::string row; std::getline(table, row);) {
        std::istringstream words(row);
        std::string word[10];
        for (std::string& w : word) {
            words >> w;
        }
        if (word[1] == local) {
            sockets.insert("socket:[" + word[9] + "]");
        }
    }
    std::vector<pid_t> found;
    if (sockets.empty()) {
        return found;
    }
    std::error_code error;
    for (const auto& process : std::filesystem::directory_iterator("/proc", error)) {
        const pid_t pid = static_cast<pid_t>(atoi(process.path().filename().c_str()));
        for (const auto& fd : std::filesystem::directory_iterator(process.path() / "fd", error)) {
            if (pid > 0 && sockets.count(std::filesystem::read_symlink(fd.path(), error).string()) != 0) {
                found.push_back(pid);
                break;
            }
        }
    }
    return found;
}

int CUdpPeer::bind(const sockaddr_in& address, std::string& error)
{
    close();
    m_fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_fd < 0) {
        error = std::string("cannot create a UDP socket: ") + strerror(errno);
        return -1;
    }
    socklen_t len = sizeof(m_local);
    if (::bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        getsockname(m_fd, reinterpret_cast<sockaddr*>(&m_local), &len) != 0) {
        error = "cannot listen on " + addressText(address) + ": " + strerror(errno);
        close();
        return -1;
    }
    return 0;
}

void CUdpPeer::close()
{
    if (m_fd >= 0) {
        ::close(m_fd);
    }
    m_fd = -1;
}

int CUdpPeer::sendTo(const sockaddr_in& to, const uint8_t* data, size_t length)
{
    // Stamped before it leaves, so that in a merged capture it comes before
    // what the receiver does with it.
    timeval now{};
    gettimeofday(&now, nullptr);
    if (sendto(m_fd, data, length, 0, reinterpret_cast<const sockaddr*>(&to), sizeof(to)) !=
        static_cast<ssize_t>(length)) {
        return -1;
    }
    if (m_tap) {
        m_tap(m_local, to, data, length, &now);
    }
    return 0;
}

bool CUdpPeer::sendTo(uint16_t port, const std::string& bytes)
{
    return sendTo(loopback(port), reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()) == 0;
}

bool CUdpPeer::sendTo(uint16_t port, const std::vector<uint8_t>& bytes)
{
    return sendTo(loopback(port), bytes.data(), bytes.size()) == 0;
}

int CUdpPeer::receive(uint8_t* buffer, size_t capacity, int timeoutMs, sockaddr_in& from)
{
    pollfd pfd{m_fd, POLLIN, 0};
    const int ready = poll(&pfd, 1, timeoutMs);
    if (ready <= 0) {
        return ready == 0 || errno == EINTR ? 0 : -1;
    }
    socklen_t len = sizeof(from);
    const ssize_t n = recvfrom(m_fd, buffer, capacity, 0, reinterpret_cast<sockaddr*>(&from), &len);
    if (n < 0) {
        return errno == EINTR || errno == EAGAIN ? 0 : -1;
    }
    if (m_tap) {
        m_tap(from, m_local, buffer, static_cast<size_t>(n), nullptr);
    }
    return static_cast<int>(n);
}

bool CUdpPeer::receive(std::string& out, int timeoutMs)
{
    static thread_local char buffer[65536];
    pollfd pfd{m_fd, POLLIN, 0};
    const ssize_t n = poll(&pfd, 1, timeoutMs) > 0 ? recv(m_fd, buffer, sizeof(buffer), 0) : -1;
    if (n >= 0) {
        out.assign(buffer, static_cast<size_t>(n));
    }
    return n >= 0;
}
