#include "BenchTraffic.h"

#include <cstring>

#include "msgHandle/RcCommandDefine.h"
#include "kit/SampleTraffic.h"
#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltCrc.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

namespace qp = quelby::protocol;

namespace {

// Stick values the tag does not occupy: centred sticks.
constexpr uint16_t STICK_CENTRE = 1024;

// Byte offset of the msgid in a frame on the wire.
constexpr int WIRE_MSGID = 6;

uint32_t tagOf(uint64_t lo, uint64_t hi)
{
    return static_cast<uint32_t>((lo & 0xFFFF) | ((hi & 0xFFFF) << 16));
}

// Protobuf wire reading, one field at a time: the tag is all the load
// generator reads of a reply, and a full parse would cost it more per
// message than the relay it measures spends.
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

    // The last varint field numbered field of a message.
    static bool find(const uint8_t* data, size_t len, uint32_t field, uint64_t& out)
    {
        const uint8_t* bytes = nullptr;
        size_t n = 0;
        return last(data, len, field, false, out, bytes, n);
    }

    // The bytes of the last length-delimited field numbered field.
    static bool embedded(const uint8_t* data, size_t len, uint32_t field, const uint8_t*& out, size_t& outLen)
    {
        uint64_t v = 0;
        return last(data, len, field, true, v, out, outLen);
    }

private:
    // The last field numbered field of the wanted kind (length-delimited or not).
    static bool last(const uint8_t* data, size_t len, uint32_t field, bool delimited, uint64_t& value,
                     const uint8_t*& bytes, size_t& bytesLen)
    {
        CWireReader reader(data, len);
        uint32_t f = 0;
        uint64_t v = 0;
        const uint8_t* b = nullptr;
        size_t n = 0;
        bool found = false;
        while (reader.next(f, v, b, n)) {
            if (f == field && (b != nullptr) == delimited) {
                value = v;
                bytes = b;
                bytesLen = n;
                found = true;
            }
        }
        return found;
    }

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
    if (len < XOLT_NUM_NON_PAYLOAD_BYTES) {
        return false;
    }
    const int n = rd_u16le(d + 1);
    if (len != n + XOLT_NUM_NON_PAYLOAD_BYTES) {
        return false;
    }
    const uint8_t msgid = d[WIRE_MSGID];
    const uint8_t* payload = d + XOLT_HEADER_LEN;
    int lo = 0;
    if (msgid == XOLT_MSG_ID_RC_SETTINGS && n >= 6 && payload[0] == REMOTE_SENSING_UPLOAD) {
        lo = 2; // right horizontal, then right vertical
    } else if (msgid == XOLT_MSG_ID_NEST_VIRTUAL_STICK && n == XOLT_MSG_LEN_NEST_VIRTUAL_STICK) {
        lo = 0; // left horizontal, then right horizontal
    } else {
        return false;
    }
    uint16_t crc = crc_calculate(d + 1, static_cast<uint16_t>(XOLT_HEADER_LEN - 1 + n));
    crc_accumulate(xolt_message_crcs[msgid], &crc);
    if (crc != rd_u16le(payload + n)) {
        return false;
    }
    tag = tagOf(rd_u16le(payload + lo), rd_u16le(payload + lo + 2));
    return true;
}

bool readEnvelopeTag(const uint8_t* d, int len, uint32_t& tag)
{
    const uint8_t* head = nullptr;
    size_t headLen = 0;
    uint64_t messageId = 0;
    if (!CWireReader::embedded(d, static_cast<size_t>(len), qp::QuelbyMessage::kHeadDataFieldNumber, head, headLen) ||
        !CWireReader::find(head, headLen, qp::CommonHead::kMessageIdFieldNumber, messageId)) {
        return false;
    }
    uint32_t loField = 0;
    uint32_t hiField = 0;
    if (messageId == qp::RC_HARDWARE_STATE_NTFY) {
        loField = qp::RCHardwareStateNtfy::kRighthorizontalvalueFieldNumber;
        hiField = qp::RCHardwareStateNtfy::kRightverticalvalueFieldNumber;
    } else if (messageId == qp::NEST_VIRTUAL_POLE_STATUS_NTFY) {
        loField = qp::NestVirtualPoleStateNtfy::kLefthorizontalvalueFieldNumber;
        hiField = qp::NestVirtualPoleStateNtfy::kRighthorizontalvalueFieldNumber;
    } else {
        return false;
    }
    // Absent fields (and an absent body) are zeros.
    const uint8_t* any = nullptr;
    size_t anyLen = 0;
    const uint8_t* body = nullptr;
    size_t bodyLen = 0;
    uint64_t lo = 0;
    uint64_t hi = 0;
    if (CWireReader::embedded(d, static_cast<size_t>(len), qp::QuelbyMessage::kDataFieldNumber, any, anyLen) &&
        CWireReader::embedded(any, anyLen, google::protobuf::Any::kValueFieldNumber, body, bodyLen)) {
        CWireReader::find(body, bodyLen, loField, lo);
        CWireReader::find(body, bodyLen, hiField, hi);
    }
    tag = tagOf(lo, hi);
    return true;
}

} // namespace

int CBenchTraffic::buildInput(EBenchPath path, uint32_t tag, uint8_t seq, uint8_t* out)
{
    const uint16_t lo = static_cast<uint16_t>(tag & 0xFFFF);
    const uint16_t hi = static_cast<uint16_t>(tag >> 16);
    if (path == E_BENCH_PATH_RADIO_TO_APP) {
        // The phone-set record: type, length, then the stick words.
        static thread_local xolt_message_head_t s_record;
        uint8_t* payload = xolt_payload(&s_record);
        std::memset(payload, 0, sizeof(__xolt_phone_set_t));
        payload[0] = REMOTE_SENSING_UPLOAD;
        payload[1] = PHONE_SET_DATA_LEN;
        wr_u16le(payload + 2, lo);            // right horizontal
        wr_u16le(payload + 4, hi);            // right vertical
        wr_u16le(payload + 6, STICK_CENTRE);  // left horizontal
        wr_u16le(payload + 8, STICK_CENTRE);  // left vertical
        wr_u16le(payload + 12, STICK_CENTRE); // wheel
        const uint16_t length =
            finishRadioSideFrame(s_record, seq, DEV_RC, XOLT_MSG_ID_RC_SETTINGS, sizeof(__xolt_phone_set_t));
        std::memcpy(out, xolt_wire_bytes(&s_record), length);
        return length;
    }

    static thread_local qp::NestVirtualPoleStateNtfy s_sticks;
    static thread_local qp::QuelbyMessage s_envelope;
    s_sticks.set_rightverticalvalue(STICK_CENTRE);
    s_sticks.set_leftverticalvalue(STICK_CENTRE);
    s_sticks.set_lefthorizontalvalue(lo);
    s_sticks.set_righthorizontalvalue(hi);
    fillAppEnvelope(s_envelope, qp::NEST_VIRTUAL_POLE_STATUS_NTFY, static_cast<int32_t>(tag & 0x7FFFFFFF), &s_sticks,
                    qp::HEAD_TYPE_FIXED_FREQUENCY_REPORT);
    return s_envelope.SerializeToArray(out, MAX_DATAGRAM) ? s_envelope.GetCachedSize() : 0;
}

bool CBenchTraffic::readTag(const uint8_t* data, int len, uint32_t& tag)
{
    if (len <= 0) {
        return false;
    }
    // An envelope starts with a field key, never with the frame magic.
    return data[0] == XOLT_STX ? readFrameTag(data, len, tag) : readEnvelopeTag(data, len, tag);
}

const char* CBenchTraffic::pathName(EBenchPath path)
{
    return path == E_BENCH_PATH_RADIO_TO_APP ? "radio->App" : "App->radio";
}
