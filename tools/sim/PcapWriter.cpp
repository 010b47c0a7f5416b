#include "PcapWriter.h"

#include <cstring>

namespace {

constexpr uint32_t PCAP_MAGIC = 0xA1B2C3D4;  // microsecond timestamps
constexpr uint32_t PCAP_SNAPLEN = 65535;
constexpr uint32_t LINKTYPE_RAW = 101;       // the packet starts with its IP header
constexpr size_t IPV4_HEADER_LEN = 20;
constexpr size_t UDP_HEADER_LEN = 8;
constexpr size_t MAX_UDP_PAYLOAD = 65535 - IPV4_HEADER_LEN - UDP_HEADER_LEN;

// Pcap headers are written in the host's order (the magic tells readers
// which); IP and UDP headers in network order.
void putHost32(uint8_t* p, uint32_t v)
{
    memcpy(p, &v, sizeof(v));
}

void putHost16(uint8_t* p, uint16_t v)
{
    memcpy(p, &v, sizeof(v));
}

void putNet16(uint8_t* p, uint16_t v)
{
    p[0] = static_cast<uint8_t>(v >> 8);
    p[1] = static_cast<uint8_t>(v);
}

uint16_t ipChecksum(const uint8_t* header, size_t length)
{
    uint32_t sum = 0;
    for (size_t i = 0; i + 1 < length; i += 2) {
        sum += static_cast<uint32_t>(header[i] << 8 | header[i + 1]);
    }
    while (sum >> 16) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<uint16_t>(~sum);
}

} // namespace

CPcapWriter::~CPcapWriter()
{
    if (m_pFile != nullptr) {
        fclose(m_pFile);
    }
}

int CPcapWriter::open(const std::string& path)
{
    m_pFile = fopen(path.c_str(), "wb");
    if (m_pFile == nullptr) {
        return -1;
    }
    uint8_t header[24];
    putHost32(header, PCAP_MAGIC);
    putHost16(header + 4, 2); // version 2.4
    putHost16(header + 6, 4);
    putHost32(header + 8, 0);  // time zone offset
    putHost32(header + 12, 0); // timestamp accuracy
    putHost32(header + 16, PCAP_SNAPLEN);
    putHost32(header + 20, LINKTYPE_RAW);
    if (fwrite(header, sizeof(header), 1, m_pFile) != 1 || fflush(m_pFile) != 0) {
        fclose(m_pFile);
        m_pFile = nullptr;
        return -1;
    }
    return 0;
}

void CPcapWriter::record(const sockaddr_in& from, const sockaddr_in& to, const uint8_t* data, size_t length,
                         const timeval* when)
{
    if (m_pFile == nullptr) {
        return;
    }
    if (length > MAX_UDP_PAYLOAD) {
        length = MAX_UDP_PAYLOAD;
    }
    const size_t packetLen = IPV4_HEADER_LEN + UDP_HEADER_LEN + length;

    timeval now{};
    if (when != nullptr) {
        now = *when;
    } else {
        gettimeofday(&now, nullptr);
    }
    uint8_t record[16];
    putHost32(record, static_cast<uint32_t>(now.tv_sec));
    putHost32(record + 4, static_cast<uint32_t>(now.tv_usec));
    putHost32(record + 8, static_cast<uint32_t>(packetLen));
    putHost32(record + 12, static_cast<uint32_t>(packetLen));

    uint8_t ip[IPV4_HEADER_LEN] = {};
    ip[0] = 0x45; // version 4, 5 words
    putNet16(ip + 2, static_cast<uint16_t>(packetLen));
    putNet16(ip + 4, m_usIpId++);
    ip[6] = 0x40; // don't fragment
    ip[8] = 64;   // time to live
    ip[9] = IPPROTO_UDP;
    memcpy(ip + 12, &from.sin_addr.s_addr, 4); // already in network order
    memcpy(ip + 16, &to.sin_addr.s_addr, 4);
    putNet16(ip + 10, ipChecksum(ip, sizeof(ip)));

    uint8_t udp[UDP_HEADER_LEN] = {};
    memcpy(udp, &from.sin_port, 2);
    memcpy(udp + 2, &to.sin_port, 2);
    putNet16(udp + 4, static_cast<uint16_t>(UDP_HEADER_LEN + length));
    // A zero UDP checksum means "none" in IPv4.

    fwrite(record, sizeof(record), 1, m_pFile);
    fwrite(ip, sizeof(ip), 1, m_pFile);
    fwrite(udp, sizeof(udp), 1, m_pFile);
    fwrite(data, 1, length, m_pFile);
    fflush(m_pFile);
}
