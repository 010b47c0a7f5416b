#ifndef LUMBRIX_KIT_UDP_PEER_H
#define LUMBRIX_KIT_UDP_PEER_H

#include <netinet/in.h>
#include <sys/time.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// One bound UDP socket that stands in for the radio side or the App: the
// tests', the simulator's and the load generator's. Receives wait at most a
// given time; the load generator drives descriptor() itself, without
// waiting. A tap, when set, sees every datagram sent or received (the
// simulator's capture). Owns its descriptor; single-threaded.
class CUdpPeer {
public:
    using Tap = std::function<void(const sockaddr_in& from, const sockaddr_in& to, const uint8_t* data, size_t length,
                                   const timeval* when)>;

    // loopbackPort >= 0 binds to 127.0.0.1 on that port at once (0: one of
    // the kernel's choice) with a 4 MiB receive buffer; -1 leaves it unbound.
    explicit CUdpPeer(int loopbackPort = -1);
    ~CUdpPeer();
    CUdpPeer(const CUdpPeer&) = delete;
    CUdpPeer& operator=(const CUdpPeer&) = delete;

    // "a.b.c.d:port" into an address; false (and the reason) when malformed.
    static bool parseAddress(const std::string& text, sockaddr_in& out, std::string& error);
    static std::string addressText(const sockaddr_in& address);
    static sockaddr_in loopback(uint16_t port);
    // A port on 127.0.0.1 that was free a moment ago (bound, then released).
    static uint16_t freePort();
    // The processes holding a UDP socket bound to 127.0.0.1:port (the
    // kernel's socket table, then every process's descriptors).
    static std::vector<pid_t> holders(uint16_t port);

    // Binds to address (port 0: any free port). 0, or -1 with the reason.
    int bind(const sockaddr_in& address, std::string& error);
    // Gives the port up (to a simulator that takes this role).
    void close();
    const sockaddr_in& localAddress() const { return m_local; }
    uint16_t port() const { return ntohs(m_local.sin_port); }
    // For waiting on several at once, or batched calls; -1 before bind.
    int descriptor() const { return m_fd; }
    void setTap(Tap tap) { m_tap = std::move(tap); }

    // 0 when the whole datagram was sent, -1 otherwise.
    int sendTo(const sockaddr_in& to, const uint8_t* data, size_t length);
    bool sendTo(uint16_t port, const std::string& bytes);
    bool sendTo(uint16_t port, const std::vector<uint8_t>& bytes);
    // Waits up to timeoutMs (0: just looks) for one datagram. Returns its
    // length, 0 when none came, -1 on an error; from is the sender.
    int receive(uint8_t* buffer, size_t capacity, int timeoutMs, sockaddr_in& from);
    // One datagram into out, or false after timeoutMs.
    bool receive(std::string& out, int timeoutMs);

private:
    int m_fd = -1;
    sockaddr_in m_local{};
    Tap m_tap;
};

#endif
