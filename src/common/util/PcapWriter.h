#ifndef LUMBRIX_PCAP_WRITER_H
#define LUMBRIX_PCAP_WRITER_H

#include <netinet/in.h>
#include <sys/time.h>

#include <cstddef>
#include <cstdint>
#include <string>

// Capture files of UDP datagrams in the classic pcap format with the raw
// IPv4 link type, as if the datagrams had been captured on the loopback
// interface, so that Wireshark, tshark and the simulator's replay read them
// without a capture privilege. Each datagram gets an IPv4 and a UDP header
// built here, and a time stamp in microseconds.
//
// Formatting a record touches memory only (the gateway's event loop formats
// records into its recording buffer); the writer appends whole records to
// one open file, which it owns, and never leaves a record half-written.
class CPcapWriter {
public:
    static constexpr size_t FILE_HEADER_LEN = 24;
    static constexpr size_t RECORD_HEADER_LEN = 16;
    // IPv4 and UDP headers in front of each datagram's bytes.
    static constexpr size_t PACKET_HEADER_LEN = 28;
    // Longest datagram an IPv4 packet carries; longer ones are cut to it.
    static constexpr size_t MAX_PAYLOAD_LEN = 65535 - PACKET_HEADER_LEN;

    CPcapWriter() = default;
    ~CPcapWriter();
    CPcapWriter(const CPcapWriter&) = delete;
    CPcapWriter& operator=(const CPcapWriter&) = delete;

    // Bytes of the record of a datagram of length bytes.
    static size_t recordLength(size_t length)
    {
        return RECORD_HEADER_LEN + PACKET_HEADER_LEN + (length < MAX_PAYLOAD_LEN ? length : MAX_PAYLOAD_LEN);
    }
    // Writes the record of one datagram at out (recordLength(length) bytes)
    // and returns its length. ipId numbers the IPv4 packet.
    static size_t formatRecord(uint8_t* out, const sockaddr_in& from, const sockaddr_in& to, const uint8_t* data,
                               size_t length, const timeval& when, uint16_t ipId);
    // Length of the whole record whose header starts at record.
    static size_t storedLength(const uint8_t* record);

    // Creates (truncates) the file and writes the file header. 0, or -1
    // with errno set.
    int open(const std::string& path);
    // Opens an existing capture to append to it, first cutting a record
    // that an earlier writer left half-written. 0, or -1 with errno set
    // (also when the file is not a capture of this kind).
    int reopen(const std::string& path);
    bool isOpen() const { return m_fd >= 0; }
    void close();
    // Bytes in the open file.
    uint64_t size() const { return m_ullSize; }

    // Appends length bytes of whole records. When the file takes only part
    // of them, it is cut back to its last whole record. 0, or -1 with errno
    // set; the records not in the file are then lost.
    int append(const uint8_t* records, size_t length);

    // Appends one datagram, stamped with when (default: now).
    void record(const sockaddr_in& from, const sockaddr_in& to, const uint8_t* data, size_t length,
                const timeval* when = nullptr);

private:
    int m_fd = -1;
    uint64_t m_ullSize = 0;
    uint16_t m_usIpId = 0;
};

#endif
