#ifndef LUMBRIX_TEST_UDP_PEER_H
#define LUMBRIX_TEST_UDP_PEER_H

#include <cstdint>
#include <string>
#include <vector>

// A UDP socket bound to 127.0.0.1 on a port of the kernel's choice, standing
// in for the radio side or the App. Receives are bounded by a time-out.
class UdpPeer {
public:
    UdpPeer();
    ~UdpPeer();
    UdpPeer(const UdpPeer&) = delete;
    UdpPeer& operator=(const UdpPeer&) = delete;

    uint16_t port() const { return m_port; }
    bool sendTo(uint16_t port, const std::string& bytes);
    bool sendTo(uint16_t port, const std::vector<uint8_t>& bytes);
    // One datagram, or false after timeoutMs.
    bool receive(std::string& out, int timeoutMs);
    // Gives the port up (to a simulator that takes this role).
    void close();

private:
    uint16_t m_port = 0; // before m_fd: the constructor binds into it
    int m_fd = -1;
};

// A port on 127.0.0.1 that was free a moment ago (bound then released).
uint16_t freeUdpPort();

std::string hexOf(const std::string& bytes);
std::string bytesOf(const std::vector<uint8_t>& bytes);

#endif
