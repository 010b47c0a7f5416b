#ifndef LUMBRIX_CAPTURE_READER_H
#define LUMBRIX_CAPTURE_READER_H

#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <vector>

// One UDP datagram over IPv4 as a capture recorded it.
struct TCapturedDatagram {
    int64_t timeUs = 0; // capture time, microseconds since the Unix epoch
    sockaddr_in from{};
    sockaddr_in to{};
    std::vector<uint8_t> payload;
};

// Reads the UDP datagrams over IPv4 out of capture files (pcap or pcapng,
// through libpcap). Link types: Ethernet (tcpdump on a loopback interface),
// BSD loopback (null and loop), raw IP (the simulator's own --pcap files)
// and Linux cooked captures v1 and v2 (tcpdump -i any). In a cooked capture
// a loopback packet is seen twice, going out and coming in; only the copy
// coming in is kept. Other packets, fragments and datagrams the capture cut
// short are skipped and counted. Stateless.
class CCaptureReader {
public:
    struct TCounts {
        uint64_t packets = 0; // every packet of the file
        uint64_t skipped = 0; // not a whole UDP datagram over IPv4
        std::string damage;   // why reading stopped early (a file cut short), or empty
    };

    // Appends the file's datagrams to out in file order; a file damaged
    // part-way gives what comes before the damage. 0, or -1 with the reason
    // in error when the file cannot be read as a capture at all.
    static int read(const std::string& path, std::vector<TCapturedDatagram>& out, TCounts& counts, std::string& error);
};

#endif
