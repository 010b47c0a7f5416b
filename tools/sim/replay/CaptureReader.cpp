#include "CaptureReader.h"

#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if_arp.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <pcap/pcap.h>
#include <sys/socket.h>

#include <cstring>

namespace {

constexpr size_t SLL_HEADER_LEN = 16;
constexpr size_t SLL2_HEADER_LEN = 20;
constexpr size_t LOOPBACK_HEADER_LEN = 4; // the address family
constexpr size_t VLAN_TAG_LEN = 4;
constexpr size_t IPV4_MIN_HEADER_LEN = 20;
constexpr uint16_t IP_FRAGMENT_MASK = IP_MF | IP_OFFMASK;

uint16_t be16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] << 8 | p[1]);
}

uint32_t be32(const uint8_t* p)
{
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 |
           p[3];
}

// Where the IPv4 header starts in a packet of the link type; false when the
// packet carries something else, or is a cooked loopback copy going out.
bool ipOffset(int linkType, const uint8_t* p, size_t length, size_t& offset)
{
    switch (linkType) {
    case DLT_EN10MB: {
        if (length < ETH_HLEN) {
            return false;
        }
        uint16_t type = be16(p + ETH_HLEN - 2);
        offset = ETH_HLEN;
        if (type == ETHERTYPE_VLAN && length >= ETH_HLEN + VLAN_TAG_LEN) {
            type = be16(p + ETH_HLEN + VLAN_TAG_LEN - 2);
            offset += VLAN_TAG_LEN;
        }
        return type == ETHERTYPE_IP;
    }
    case DLT_NULL: {
        // The family in the byte order of the machine that captured.
        if (length < LOOPBACK_HEADER_LEN) {
            return false;
        }
        const uint32_t family = be32(p);
        offset = LOOPBACK_HEADER_LEN;
        return family == AF_INET || family == static_cast<uint32_t>(AF_INET) << 24;
    }
    case DLT_LOOP:
        offset = LOOPBACK_HEADER_LEN;
        return length >= LOOPBACK_HEADER_LEN && be32(p) == AF_INET;
    case DLT_RAW:
    case DLT_IPV4:
        offset = 0;
        return true;
    case DLT_LINUX_SLL:
        offset = SLL_HEADER_LEN;
        return length >= SLL_HEADER_LEN && be16(p + 14) == ETHERTYPE_IP &&
               !(be16(p) == PACKET_OUTGOING && be16(p + 2) == ARPHRD_LOOPBACK);
    case DLT_LINUX_SLL2:
        offset = SLL2_HEADER_LEN;
        return length >= SLL2_HEADER_LEN && be16(p) == ETHERTYPE_IP &&
               !(p[10] == PACKET_OUTGOING && be16(p + 8) == ARPHRD_LOOPBACK);
    default:
        return false;
    }
}

// The UDP datagram of an IPv4 packet; false for anything else, a fragment,
// or a datagram the capture did not keep whole.
bool udpDatagram(const uint8_t* ip, size_t length, TCapturedDatagram& out)
{
    if (length < IPV4_MIN_HEADER_LEN || (ip[0] >> 4) != 4) {
        return false;
    }
    const size_t headerLen = static_cast<size_t>(ip[0] & 0x0F) * 4;
    const size_t totalLen = be16(ip + 2);
    if (headerLen < IPV4_MIN_HEADER_LEN || totalLen < headerLen + sizeof(udphdr) || length < totalLen ||
        ip[9] != IPPROTO_UDP || (be16(ip + 6) & IP_FRAGMENT_MASK) != 0) {
        return false;
    }
    const uint8_t* udp = ip + headerLen;
    const size_t udpLen = be16(udp + 4);
    if (udpLen < sizeof(udphdr) || headerLen + udpLen > totalLen) {
        return false;
    }
    out.from.sin_family = AF_INET;
    out.to.sin_family = AF_INET;
    // Addresses and ports stay in network order, as sockaddr_in keeps them.
    memcpy(&out.from.sin_addr.s_addr, ip + 12, 4);
    memcpy(&out.to.sin_addr.s_addr, ip + 16, 4);
    memcpy(&out.from.sin_port, udp, 2);
    memcpy(&out.to.sin_port, udp + 2, 2);
    out.payload.assign(udp + sizeof(udphdr), udp + udpLen);
    return true;
}

} // namespace

int CCaptureReader::read(const std::string& path, std::vector<TCapturedDatagram>& out, TCounts& counts,
                         std::string& error)
{
    char pcapError[PCAP_ERRBUF_SIZE] = {};
    pcap_t* capture = pcap_open_offline(path.c_str(), pcapError);
    if (capture == nullptr) {
        error = "cannot read the capture '" + path + "': " + pcapError;
        return -1;
    }
    const int linkType = pcap_datalink(capture);
    pcap_pkthdr* header = nullptr;
    const u_char* data = nullptr;
    int result = 0;
    while ((result = pcap_next_ex(capture, &header, &data)) == 1) {
        ++counts.packets;
        TCapturedDatagram datagram;
        size_t offset = 0;
        if (!ipOffset(linkType, data, header->caplen, offset) ||
            !udpDatagram(data + offset, header->caplen - offset, datagram)) {
            ++counts.skipped;
            continue;
        }
        datagram.timeUs = static_cast<int64_t>(header->ts.tv_sec) * 1000000 + header->ts.tv_usec;
        out.push_back(std::move(datagram));
    }
    if (result == PCAP_ERROR) {
        counts.damage = pcap_geterr(capture);
    }
    pcap_close(capture);
    return 0;
}
