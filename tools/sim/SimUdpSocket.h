#ifndef LUMBRIX_SIM_UDP_SOCKET_H
#define LUMBRIX_SIM_UDP_SOCKET_H

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <string>

class CPcapWriter;

// One bound UDP socket of a simulator: the radio side's or the App's end of
// the gateway's traffic. Receives wait at most a given time. When a capture
// writer is attached, every datagram sent or received is also written to it.
// The socket owns its descriptor; the writer belongs to the caller.
class CSimUdpSocket {
public:
    CSimUdpSocket() = default;
    ~CSimUdpSocket();
    CSimUdpSocket(const CSimUdpSocket&) = delete;
    CSimUdpSocket& operator=(const CSimUdpSocket&) = delete;

    // "a.b.c.d:port" into an address; false (and the reason) when malformed.
    static bool parseAddress(const std::string& text, sockaddr_in& out, std::string& error);
    static std::string addressText(const sockaddr_in& address);

    // Binds to address (port 0: any free port). 0, or -1 with the reason.
    int bind(const sockaddr_in& address, std::string& error);
    // The bound address (with the port the kernel chose).
    const sockaddr_in& localAddress() const { return m_local; }
    // The socket itself, for waiting on several at once; -1 before bind.
    int descriptor() const { return m_fd; }
    void setCapture(CPcapWriter* capture) { m_pCapture = capture; }

    // 0 when the whole datagram was sent, -1 otherwise.
    int sendTo(const sockaddr_in& to, const uint8_t* data, size_t length);
    // Waits up to timeoutMs (0: just looks) for one datagram. Returns its
    // length, 0 when none came, -1 on an error; from is the sender.
    int receive(uint8_t* buffer, size_t capacity, int timeoutMs, sockaddr_in& from);

private:
    int m_fd = -1;
    sockaddr_in m_local{};
    CPcapWriter* m_pCapture = nullptr;
};

#endif
