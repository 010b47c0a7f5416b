#ifndef LUMBRIX_PCAP_WRITER_H
#define LUMBRIX_PCAP_WRITER_H

#include <cstdint>
#include <cstdio>
#include <netinet/in.h>
#include <string>
#include <sys/time.h>

// Writes the UDP datagrams a simulator sends and receives into a capture
// file (classic pcap, raw IPv4 link type), as if they had been captured on
// the loopback interface, so that Wireshark or tshark can show a session
// without a capture privilege. Each datagram gets an IPv4 and a UDP header
// built here. The writer owns its open file; one writer per process.
class CPcapWriter {
public:
    CPcapWriter() = default;
    ~CPcapWriter();
    CPcapWriter(const CPcapWriter&) = delete;
    CPcapWriter& operator=(const CPcapWriter&) = delete;

    // Creates (truncates) the file and writes the file header. 0 or -1.
    int open(const std::string& path);
    bool isOpen() const { return m_pFile != nullptr; }

    // Appends one datagram, stamped with when (default: now). Datagrams
    // longer than an IPv4 packet can carry are cut to fit.
    void record(const sockaddr_in& from, const sockaddr_in& to, const uint8_t* data, size_t length,
                const timeval* when = nullptr);

private:
    FILE* m_pFile = nullptr;
    uint16_t m_usIpId = 0;
};

#endif
