#include "BenchTraffic.h"

#include <cstring>

namespace {

// Link frame constants (magic, identity bytes, ids and CRC extras).
constexpr uint8_t STX = 0xFD;
constexpr uint8_t DEV_RC = 14;
constexpr uint8_t DEV_APP = 32;
constexpr uint8_t MSGID_RC_SETTINGS = 150;
constexpr uint8_t CRC_EXTRA_RC_SETTINGS = 36;
constexpr uint8_t MSGID_NEST_STICK = 148;
constexpr uint8_t CRC_EXTRA_NEST_STICK = 237;
constexpr uint8_t SUB_RAW_STICKS = 14;
constexpr int RC_SETTINGS_PAYLOAD = 24;
constexpr int NEST_STICK_PAYLOAD = 14;

// App message ids.
constexpr uint64_t RC_HARDWARE_STATE_NTFY = 0x90000;
constexpr uint64_t NEST_VIRTUAL_POLE_STATUS_NTFY = 0xC1009;

// Stick values the tag does not occupy: centred sticks.
constexpr uint16_t STICK_CENTRE = 1024;

uint16_t crcAccumulate(uint8_t b, uint16_t crc)
{
    uint8_t t = static_cast<uint8_t>(b ^ (crc & 0xFF));
    t = static_cast<uint8_t>(t ^ (t << 4));
    return static_cast<uint16_t>((crc >> 8) ^ (t << 8) ^ (t << 3) ^ (t >> 4));
}

// CRC of a whole frame of payload length n: bytes 1 .. 7 + n, then the extra.
uint16_t frameCrc(const uint8_t* frame, int n, uint8_t extra)
{
    uint16_t crc = 0xFFFF;
    for (int i = 1; i < 8 + n; ++i) {
        crc = crcAccumulate(frame[i], crc);
    }
    return crcAccumulate(extra, crc);
}

int buildFrame(uint8_t* out, uint8_t seq, uint8_t dest, uint8_t source, uint8_t msgid, const uint8_t* payload,
               int n, uint8_t extra)
{
    out[0] = STX;
    out[1] = static_cast<uint8_t>(n & 0xFF);
    out[2] = static_cast<uint8_t>(n >> 8);
    out[3] = seq;
    out[4] = dest;
    out[5] = source;
    out[6] = msgid;
    uint8_t sum = 0;
    for (int i = 0; i < 7; ++i) {
        sum = static_cast<uint8_t>(sum + out[i]);
    }
    out[7] = sum;
    std::memcpy(out + 8, payload, n);
    const uint16_t crc = frameCrc(out, n, extra);
    out[8 + n] = static_cast<uint8_t>(crc & 0xFF);
    out[9 + n] = static_cast<uint8_t>(crc >> 8);
    return n + 10;
}

void putLe16(uint8_t* p, uint16_t v)
{
    p[0] = static_cast<uint8_t>(v & 0xFF);
    p[1] = static_cast<uint8_t>(v >> 8);
}

uint16_t getLe16(const uint8_t* p)
{
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

// Protobuf wire writing: just what the envelope needs.
uint8_t* putVarint(uint8_t* p, uint64_t v)
{
    while (v >= 0x80) {
        *p++ = static_cast<uint8_t>(v | 0x80);
        v >>= 7;
    }
    *p++ = static_cast<uint8_t>(v);
    return p;
}

uint8_t* putVarintField(uint8_t* p, uint32_t field, uint64_t v)
{
    if (v == 0) {
        return p; // proto3: a zero is not written
    }
    p = putVarint(p, (field << 3) | 0);
    return putVarint(p, v);
}

uint8_t* putBytesField(uint8_t* p, uint32_t field, const uint8_t* bytes, size_t n)
{
    p = putVarint(p, (field << 3) | 2);
    p = putVarint(p, n);
    std::memcpy(p, bytes, n);
    return p + n;
}

// Protobuf wire reading: one field at a time.
class CWireReader {
public:
    CWireReader(const uint8_t* data, size_t len) : m_p(data), m_end(data + len) {}

    // Next field: its number, and either its varint value or its bytes.
    // False at the end or on anything malformed.
    bool next(uint32_t& field, uint64_t& value, const uint8_t*& bytes, size_t& len)
    {
        uint64_t key = 0;
        if (m_p >= m_end || !varint(key)) {
            return false;
        }
        field = static_cast<uint32_t>(key >> 3);
        bytes = nullptr;
        len = 0;
        switch (key & 7) {
        case 0:
            return varint(value);
        case 1:
            return skip(8);
        case 2:
            if (!varint(value) || value > static_cast<uint64_t>(m_end - m_p)) {
                return false;
            }
            bytes = m_p;
            len = static_cast<size_t>(value);
            m_p += len;
            return true;
        case 5:
            return skip(4);
        default:
            return false;
        }
    }

private:
    bool varint(uint64_t& v)
    {
        v = 0;
        for (int shift = 0; shift < 64 && m_p < m_end; shift += 7) {
            const uint8_t b = *m_p++;
            v |= static_cast<uint64_t>(b & 0x7F) << shift;
            if ((b & 0x80) == 0) {
                return true;
            }
        }
        return false;
    }

    bool skip(size_t n)
    {
        if (static_cast<size_t>(m_end - m_p) < n) {
            return false;
        }
        m_p += n;
        return true;
    }

    const uint8_t* m_p;
    const uint8_t* m_end;
};

bool readFrameTag(const uint8_t* d, int len, uint32_t& tag)
{
    if (len < 10) {
        return false;
    }
    const int n = d[1] | (d[2] << 8);
    if (len != n + 10) {
        return false;
    }
    const uint8_t msgid = d[6];
    uint8_t extra = 0;
    int lo = 0;
    if (msgid == MSGID_RC_SETTINGS && n >= 6 && d[8] == SUB_RAW_STICKS) {
        extra = CRC_EXTRA_RC_SETTINGS;
        lo = 8 + 2; // right horizontal, then right vertical
    } else if (msgid == MSGID_NEST_STICK && n == NEST_STICK_PAYLOAD) {
        extra = CRC_EXTRA_NEST_STICK;
        lo = 8; // left horizontal, then right horizontal
    } else {
        return false;
    }
    if (frameCrc(d, n, extra) != getLe16(d + 8 + n)) {
        return false;
    }
    tag = static_cast<uint32_t>(getLe16(d + lo)) | (static_cast<uint32_t>(getLe16(d + lo + 2)) << 16);
    return true;
}

bool readEnvelopeTag(const uint8_t* d, int len, uint32_t& tag)
{
    uint64_t messageId = 0;
    const uint8_t* body = nullptr;
    size_t bodyLen = 0;
    CWireReader envelope(d, static_cast<size_t>(len));
    uint32_t field = 0;
    uint64_t value = 0;
    const uint8_t* bytes = nullptr;
    size_t n = 0;
    while (envelope.next(field, value, bytes, n)) {
        if (field == 1 && bytes != nullptr) {
            CWireReader head(bytes, n);
            uint32_t f = 0;
            uint64_t v = 0;
            const uint8_t* b = nullptr;
            size_t bn = 0;
            while (head.next(f, v, b, bn)) {
                if (f == 5 && b == nullptr) {
                    messageId = v;
                }
            }
        } else if (field == 2 && bytes != nullptr) {
            CWireReader any(bytes, n);
            uint32_t f = 0;
            uint64_t v = 0;
            const uint8_t* b = nullptr;
            size_t bn = 0;
            while (any.next(f, v, b, bn)) {
                if (f == 2 && b != nullptr) {
                    body = b;
                    bodyLen = bn;
                }
            }
        }
    }
    uint32_t loField = 0;
    if (messageId == RC_HARDWARE_STATE_NTFY) {
        loField = 1; // right horizontal, then right vertical
    } else if (messageId == NEST_VIRTUAL_POLE_STATUS_NTFY) {
        loField = 3; // left horizontal, then right horizontal
    } else {
        return false;
    }
    uint16_t lo = 0;
    uint16_t hi = 0;
    if (body != nullptr) {
        CWireReader fields(body, bodyLen);
        while (fields.next(field, value, bytes, n)) {
            if (bytes != nullptr) {
                continue;
            }
            if (field == loField) {
                lo = static_cast<uint16_t>(value);
            } else if (field == loField + 1) {
                hi = static_cast<uint16_t>(value);
            }
        }
    }
    tag = static_cast<uint32_t>(lo) | (static_cast<uint32_t>(hi) << 16);
    return true;
}

} // namespace

int CBenchTraffic::buildInput(EBenchPath path, uint32_t tag, uint8_t seq, uint8_t* out)
{
    const uint16_t lo = static_cast<uint16_t>(tag & 0xFFFF);
    const uint16_t hi = static_cast<uint16_t>(tag >> 16);
    if (path == E_BENCH_PATH_RADIO_TO_APP) {
        // type, length, then the stick words of set_data.
        uint8_t payload[RC_SETTINGS_PAYLOAD] = {};
        payload[0] = SUB_RAW_STICKS;
        payload[1] = RC_SETTINGS_PAYLOAD - 2;
        putLe16(payload + 2, lo);            // right horizontal
        putLe16(payload + 4, hi);            // right vertical
        putLe16(payload + 6, STICK_CENTRE);  // left horizontal
        putLe16(payload + 8, STICK_CENTRE);  // left vertical
        putLe16(payload + 12, STICK_CENTRE); // wheel
        return buildFrame(out, seq, DEV_APP, DEV_RC, MSGID_RC_SETTINGS, payload, RC_SETTINGS_PAYLOAD,
                          CRC_EXTRA_RC_SETTINGS);
    }

    uint8_t body[64];
    uint8_t* p = body;
    p = putVarintField(p, 1, STICK_CENTRE); // right vertical
    p = putVarintField(p, 2, STICK_CENTRE); // left vertical
    p = putVarintField(p, 3, lo);           // left horizontal
    p = putVarintField(p, 4, hi);           // right horizontal
    uint8_t any[80];
    uint8_t* const anyEnd = putBytesField(any, 2, body, static_cast<size_t>(p - body));

    static const char TOKEN[] = "App";
    uint8_t head[64];
    p = putBytesField(head, 1, reinterpret_cast<const uint8_t*>(TOKEN), sizeof(TOKEN) - 1);
    p = putVarintField(p, 2, 3); // fixed-frequency report
    p = putVarintField(p, 4, 1);
    p = putVarintField(p, 5, NEST_VIRTUAL_POLE_STATUS_NTFY);
    p = putVarintField(p, 6, tag & 0x7FFFFFFF);

    uint8_t* q = putBytesField(out, 1, head, static_cast<size_t>(p - head));
    q = putBytesField(q, 2, any, static_cast<size_t>(anyEnd - any));
    return static_cast<int>(q - out);
}

bool CBenchTraffic::readTag(const uint8_t* data, int len, uint32_t& tag)
{
    if (len <= 0) {
        return false;
    }
    // An envelope starts with a field key, never with the frame magic.
    return data[0] == STX ? readFrameTag(data, len, tag) : readEnvelopeTag(data, len, tag);
}

const char* CBenchTraffic::pathName(EBenchPath path)
{
    return path == E_BENCH_PATH_RADIO_TO_APP ? "radio->App" : "App->radio";
}
