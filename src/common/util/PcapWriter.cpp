#include "common/util/PcapWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr uint32_t PCAP_MAGIC = 0xA1B2C3D4; // microsecond time stamps
constexpr uint32_t PCAP_SNAPLEN = 65535;
constexpr uint32_t LINKTYPE_RAW = 101; // the packet starts with its IP header
constexpr size_t IPV4_HEADER_LEN = 20;
constexpr size_t UDP_HEADER_LEN = 8;

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

uint32_t getHost32(const uint8_t* p)
{
    uint32_t v;
    memcpy(&v, p, sizeof(v));
    return v;
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

// Writes all of length bytes unless the file refuses; returns how many went.
size_t writeAll(int fd, const uint8_t* data, size_t length)
{
    size_t done = 0;
    while (done < length) {
        const ssize_t n = write(fd, data + done, length - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            if (n == 0) {
                errno = ENOSPC;
            }
            break;
        }
        done += static_cast<size_t>(n);
    }
    return done;
}

} // namespace

CPcapWriter::~CPcapWriter()
{
    close();
}

size_t CPcapWriter::formatRecord(uint8_t* out, const sockaddr_in& from, const sockaddr_in& to, const uint8_t* data,
                                 size_t length, const timeval& when, uint16_t ipId)
{
    if (length > MAX_PAYLOAD_LEN) {
        length = MAX_PAYLOAD_LEN;
    }
    const size_t packetLen = PACKET_HEADER_LEN + length;
    putHost32(out, static_cast<uint32_t>(when.tv_sec));
    putHost32(out + 4, static_cast<uint32_t>(when.tv_usec));
    putHost32(out + 8, static_cast<uint32_t>(packetLen));
    putHost32(out + 12, static_cast<uint32_t>(packetLen));

    uint8_t* ip = out + RECORD_HEADER_LEN;
    memset(ip, 0, IPV4_HEADER_LEN);
    ip[0] = 0x45; // version 4, 5 words
    putNet16(ip + 2, static_cast<uint16_t>(packetLen));
    putNet16(ip + 4, ipId);
    ip[6] = 0x40; // don't fragment
    ip[8] = 64;   // time to live
    ip[9] = IPPROTO_UDP;
    memcpy(ip + 12, &from.sin_addr.s_addr, 4); // already in network order
    memcpy(ip + 16, &to.sin_addr.s_addr, 4);
    putNet16(ip + 10, ipChecksum(ip, IPV4_HEADER_LEN));

    uint8_t* udp = ip + IPV4_HEADER_LEN;
    memcpy(udp, &from.sin_port, 2);
    memcpy(udp + 2, &to.sin_port, 2);
    putNet16(udp + 4, static_cast<uint16_t>(UDP_HEADER_LEN + length));
    udp[6] = 0; // a zero UDP checksum means "none" in IPv4
    udp[7] = 0;

    memcpy(udp + UDP_HEADER_LEN, data, length);
    return RECORD_HEADER_LEN + packetLen;
}

size_t CPcapWriter::storedLength(const uint8_t* record)
{
    return RECORD_HEADER_LEN + getHost32(record + 8);
}

int CPcapWriter::open(const std::string& path)
{
    close();
    m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    if (m_fd < 0) {
        return -1;
    }
    uint8_t header[FILE_HEADER_LEN];
    putHost32(header, PCAP_MAGIC);
    putHost16(header + 4, 2); // version 2.4
    putHost16(header + 6, 4);
    putHost32(header + 8, 0);  // time zone offset
    putHost32(header + 12, 0); // time stamp accuracy
    putHost32(header + 16, PCAP_SNAPLEN);
    putHost32(header + 20, LINKTYPE_RAW);
    if (writeAll(m_fd, header, sizeof(header)) != sizeof(header)) {
        const int error = errno;
        close();
        errno = error;
        return -1;
    }
    m_ullSize = sizeof(header);
    return 0;
}

int CPcapWriter::reopen(const std::string& path)
{
    close();
    const int fd = ::open(path.c_str(), O_RDWR | O_APPEND | O_CLOEXEC);
    uint8_t header[FILE_HEADER_LEN];
    if (fd < 0) {
        return -1;
    }
    if (pread(fd, header, sizeof(header), 0) != static_cast<ssize_t>(sizeof(header)) ||
        getHost32(header) != PCAP_MAGIC || getHost32(header + 20) != LINKTYPE_RAW) {
        ::close(fd);
        errno = EINVAL;
        return -1;
    }
    struct stat st;
    fstat(fd, &st);
    // Whole records from the header on, read block by block; what follows
    // the last one goes.
    uint64_t whole = sizeof(header);
    static thread_local uint8_t block[2 * 65536];
    size_t have = 0;
    uint64_t blockAt = whole;
    for (ssize_t n; (n = pread(fd, block + have, sizeof(block) - have, static_cast<off_t>(blockAt + have))) > 0;) {
        have += static_cast<size_t>(n);
        size_t at = 0;
        while (at + RECORD_HEADER_LEN <= have && at + storedLength(block + at) <= have) {
            at += storedLength(block + at);
        }
        if (at == 0 && have == sizeof(block)) {
            break; // a record longer than any this writer makes
        }
        memmove(block, block + at, have - at);
        have -= at;
        blockAt += at;
        whole = blockAt;
    }
    if (whole < static_cast<uint64_t>(st.st_size) && ftruncate(fd, static_cast<off_t>(whole)) != 0) {
        const int error = errno;
        ::close(fd);
        errno = error;
        return -1;
    }
    m_fd = fd;
    m_ullSize = whole;
    return 0;
}

void CPcapWriter::close()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
    m_ullSize = 0;
}

int CPcapWriter::append(const uint8_t* records, size_t length)
{
    if (m_fd < 0) {
        errno = EBADF;
        return -1;
    }
    const size_t done = writeAll(m_fd, records, length);
    if (done == length) {
        m_ullSize += length;
        return 0;
    }
    const int error = errno;
    size_t whole = 0;
    while (whole + RECORD_HEADER_LEN <= done && whole + storedLength(records + whole) <= done) {
        whole += storedLength(records + whole);
    }
    m_ullSize += whole;
    if (whole < done && ftruncate(m_fd, static_cast<off_t>(m_ullSize)) != 0) {
        // The file cannot even be cut: nothing more goes into it.
        close();
    }
    errno = error;
    return -1;
}

void CPcapWriter::record(const sockaddr_in& from, const sockaddr_in& to, const uint8_t* data, size_t length,
                         const timeval* when)
{
    if (m_fd < 0) {
        return;
    }
    timeval now{};
    if (when != nullptr) {
        now = *when;
    } else {
        gettimeofday(&now, nullptr);
    }
    // A datagram of a simulator is at most what one UDP socket reads.
    uint8_t buffer[RECORD_HEADER_LEN + PACKET_HEADER_LEN + 65536];
    append(buffer, formatRecord(buffer, from, to, data, length, now, m_usIpId++));
}
