#include "LoadGenerator.h"

#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "kit/SampleTraffic.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltCrc.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

namespace qp = quelby::protocol;

namespace {

// Stick values the tag does not occupy: centred sticks.
constexpr uint16_t STICK_CENTRE = 1024;

// Byte offset of the msgid in a frame on the wire.
constexpr int WIRE_MSGID = 6;

uint64_t nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Writes the input datagram of path with tag into out (room for any);
// returns its length. A frame's link sequence is the tag's low byte.
int buildInput(EBenchPath path, uint32_t tag, uint8_t* out, int room)
{
    if (path == E_BENCH_PATH_RADIO_TO_APP) {
        // The phone-set record: type, length, then the stick words (the
        // rest stays zero).
        static xolt_message_head_t s_record;
        uint8_t* payload = xolt_payload(&s_record);
        payload[0] = REMOTE_SENSING_UPLOAD;
        payload[1] = PHONE_SET_DATA_LEN;
        wr_u16le(payload + 2, static_cast<uint16_t>(tag)); // right horizontal
        wr_u16le(payload + 4, tag >> 16);                  // right vertical
        wr_u16le(payload + 6, STICK_CENTRE);               // left horizontal
        wr_u16le(payload + 8, STICK_CENTRE);               // left vertical
        wr_u16le(payload + 12, STICK_CENTRE);              // wheel
        const uint16_t length = finishRadioSideFrame(s_record, static_cast<uint8_t>(tag), DEV_RC,
                                                     XOLT_MSG_ID_RC_SETTINGS, sizeof(__xolt_phone_set_t));
        std::memcpy(out, xolt_wire_bytes(&s_record), length);
        return length;
    }
    static qp::NestVirtualPoleStateNtfy s_sticks;
    static qp::QuelbyMessage s_envelope;
    s_sticks.set_rightverticalvalue(STICK_CENTRE);
    s_sticks.set_leftverticalvalue(STICK_CENTRE);
    s_sticks.set_lefthorizontalvalue(tag & 0xFFFF);
    s_sticks.set_righthorizontalvalue(tag >> 16);
    fillAppEnvelope(s_envelope, qp::NEST_VIRTUAL_POLE_STATUS_NTFY, static_cast<int32_t>(tag & 0x7FFFFFFF), &s_sticks,
                    qp::HEAD_TYPE_FIXED_FREQUENCY_REPORT);
    return s_envelope.SerializeToArray(out, room) ? static_cast<int>(s_envelope.GetCachedSize()) : 0;
}

// Envelopes that carry a tag: their message_id, then the body's fields of
// its low and its high half.
const uint32_t ENVELOPE_TAGS[][3] = {
    {qp::RC_HARDWARE_STATE_NTFY, qp::RCHardwareStateNtfy::kRighthorizontalvalueFieldNumber,
     qp::RCHardwareStateNtfy::kRightverticalvalueFieldNumber},
    {qp::NEST_VIRTUAL_POLE_STATUS_NTFY, qp::NestVirtualPoleStateNtfy::kLefthorizontalvalueFieldNumber,
     qp::NestVirtualPoleStateNtfy::kRighthorizontalvalueFieldNumber},
};

// Reads the varint at p (before end) into v; returns the byte after it, or
// nullptr when it runs past end or over 64 bits.
const uint8_t* varint(const uint8_t* p, const uint8_t* end, uint64_t& v)
{
    v = 0;
    for (int shift = 0; shift < 64 && p < end; shift += 7) {
        v |= static_cast<uint64_t>(*p & 0x7F) << shift;
        if ((*p++ & 0x80) == 0) {
            return p;
        }
    }
    return nullptr;
}

// The last field numbered number of one level of a protobuf message, the
// length bytes at p (none when p is null): a varint (its value into value)
// or, delimited, a length-delimited field (its length into value). Returns
// where its value ends, or with delimited where its bytes start; nullptr
// when there is none. The tag is all the load generator reads of a reply: a
// full parse would cost it more per message than the relay it measures
// spends.
const uint8_t* lastField(const uint8_t* p, uint64_t length, uint32_t number, bool delimited, uint64_t& value)
{
    const uint8_t* end = p != nullptr ? p + length : p;
    const uint64_t wanted = number << 3 | (delimited ? 2 : 0);
    const uint8_t* found = nullptr;
    while (p != nullptr && p < end) {
        uint64_t key = 0;
        uint64_t v = 0;
        // The messages read here hold varints and length-delimited fields only.
        p = varint(p, end, key);
        p = p != nullptr && ((key & 7) == 0 || (key & 7) == 2) ? varint(p, end, v) : nullptr;
        if (p != nullptr && key == wanted) {
            found = p;
            value = v;
        }
        p = p != nullptr && (key & 7) == 2 ? (v <= static_cast<uint64_t>(end - p) ? p + v : nullptr) : p;
    }
    return found;
}

// The tag of a reply: a msgid 150 or 148 frame with a good CRC, or an
// envelope whose message_id is RC_HARDWARE_STATE_NTFY or
// NEST_VIRTUAL_POLE_STATUS_NTFY. False for anything else.
bool readTag(const uint8_t* d, int len, uint32_t& tag)
{
    if (len > 0 && d[0] != XOLT_STX) { // an envelope starts with a field key, never with the frame magic
        uint64_t length = 0;
        uint64_t id = 0;
        // The head's message_id says which fields of the body hold the halves.
        const uint8_t* head = lastField(d, len, qp::QuelbyMessage::kHeadDataFieldNumber, true, length);
        lastField(head, length, qp::CommonHead::kMessageIdFieldNumber, false, id);
        const auto row = std::find_if(std::begin(ENVELOPE_TAGS), std::end(ENVELOPE_TAGS),
                                      [id](const uint32_t* r) { return r[0] == id; });
        const uint8_t* any = lastField(d, len, qp::QuelbyMessage::kDataFieldNumber, true, length);
        const uint8_t* body = lastField(any, length, google::protobuf::Any::kValueFieldNumber, true, length);
        uint64_t half[2] = {0, 0}; // absent fields (and an absent body) are zeros
        for (int i = 0; i < 2 && row != std::end(ENVELOPE_TAGS); ++i) {
            lastField(body, length, (*row)[1 + i], false, half[i]);
        }
        tag = static_cast<uint32_t>((half[0] & 0xFFFF) | (half[1] & 0xFFFF) << 16);
        return row != std::end(ENVELOPE_TAGS);
    }
    if (len < XOLT_NUM_NON_PAYLOAD_BYTES || len != rd_u16le(d + 1) + XOLT_NUM_NON_PAYLOAD_BYTES) {
        return false;
    }
    const int n = len - XOLT_NUM_NON_PAYLOAD_BYTES;
    const uint8_t msgid = d[WIRE_MSGID];
    const uint8_t* payload = d + XOLT_HEADER_LEN;
    int lo = 0;
    if (msgid == XOLT_MSG_ID_RC_SETTINGS && n >= 6 && payload[0] == REMOTE_SENSING_UPLOAD) {
        lo = 2; // right horizontal, then right vertical
    } else if (msgid != XOLT_MSG_ID_NEST_VIRTUAL_STICK || n != XOLT_MSG_LEN_NEST_VIRTUAL_STICK) {
        return false; // else left horizontal, then right horizontal
    }
    uint16_t crc = crc_calculate(d + 1, static_cast<uint16_t>(XOLT_HEADER_LEN - 1 + n));
    crc_accumulate(xolt_message_crcs[msgid], &crc);
    tag = static_cast<uint32_t>(rd_u16le(payload + lo) | rd_u16le(payload + lo + 2) << 16);
    return crc == rd_u16le(payload + n);
}

// Batch headers of n slots of size bytes each, from slots on; to, when
// given, is where each goes.
void batch(mmsghdr* msgs, iovec* iov, uint8_t* slots, size_t size, int n, sockaddr_in* to = nullptr)
{
    for (int i = 0; i < n; ++i) {
        iov[i] = {slots + i * size, size};
        msgs[i] = {};
        msgs[i].msg_hdr.msg_name = to;
        msgs[i].msg_hdr.msg_namelen = to != nullptr ? sizeof(*to) : 0;
        msgs[i].msg_hdr.msg_iov = &iov[i];
        msgs[i].msg_hdr.msg_iovlen = 1;
    }
}

} // namespace

CLoadGenerator::CLoadGenerator(bool spin) : m_bSpin(spin)
{
    // Receives wake up at least this often, so silences and deadlines are seen.
    timeval timeout = {0, 50000};
    setsockopt(m_peer.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
}

TLoadResult CLoadGenerator::run(EBenchPath path, uint16_t targetPort, int window, unsigned long long count,
                                double seconds, int silenceMs)
{
    TLoadResult result;
    window = std::max(1, std::min(window, MAX_WINDOW));
    m_slots.assign(RING, {0, 0});
    m_roundTrips.clear();
    m_roundTrips.reserve(count);
    mmsghdr msgs[MAX_WINDOW];
    iovec iov[MAX_WINDOW];
    batch(msgs, iov, m_rx.data(), RX_SLOT, MAX_WINDOW);
    mmsghdr sends[MAX_WINDOW];
    iovec sent[MAX_WINDOW];
    sockaddr_in to = CUdpPeer::loopback(targetPort);

    const uint64_t start = nowNs();
    const uint64_t deadline = start + static_cast<uint64_t>(seconds * 1e9);
    const uint64_t silence = static_cast<uint64_t>(silenceMs) * 1000000ull;
    uint64_t lastMatch = start;
    int inFlight = 0;
    // Fills the window, as far as count allows, with new requests.
    auto refill = [&](uint64_t now) {
        const int n =
            static_cast<int>(std::min<uint64_t>(static_cast<uint64_t>(window - inFlight), count - result.sent));
        batch(sends, sent, m_tx.data(), MAX_DATAGRAM, n, &to);
        for (int i = 0; i < n; ++i) {
            sent[i].iov_len = static_cast<size_t>(buildInput(path, m_nextTag + static_cast<uint32_t>(i),
                                                             static_cast<uint8_t*>(sent[i].iov_base), MAX_DATAGRAM));
        }
        const int out = std::max(0, sendmmsg(m_peer.descriptor(), sends, static_cast<unsigned>(n), 0));
        for (int i = 0; i < out; ++i, ++m_nextTag) {
            m_slots[m_nextTag % RING] = {m_nextTag + 1, now};
        }
        inFlight += out;
        result.sent += static_cast<unsigned long long>(out);
    };

    refill(start);
    while (result.received < count) {
        const int n = recvmmsg(m_peer.descriptor(), msgs, static_cast<unsigned>(window),
                               m_bSpin ? MSG_DONTWAIT : MSG_WAITFORONE, nullptr);
        const uint64_t now = nowNs();
        // Past the deadline, or no answer for long: what is in flight is lost.
        if (now >= deadline || now - lastMatch >= silence) {
            break;
        }
        for (int i = 0; i < n; ++i) {
            uint32_t tag = 0;
            if (!readTag(static_cast<const uint8_t*>(iov[i].iov_base), static_cast<int>(msgs[i].msg_len), tag) ||
                m_slots[tag % RING].first != tag + 1) {
                ++result.unexpected;
                continue;
            }
            m_slots[tag % RING].first = 0;
            m_roundTrips.push_back(
                static_cast<uint32_t>(std::min<uint64_t>(now - m_slots[tag % RING].second, UINT32_MAX)));
            ++result.received;
            --inFlight;
            lastMatch = now;
        }
        refill(now);
    }
    result.seconds = static_cast<double>(lastMatch - start) / 1e9;
    const auto quantileUs = [this](double q) {
        const size_t n = m_roundTrips.size();
        const auto k = m_roundTrips.begin() + static_cast<long>(n > 0 ? q * static_cast<double>(n - 1) + 0.5 : 0);
        std::nth_element(m_roundTrips.begin(), k, m_roundTrips.end());
        return n > 0 ? *k / 1000.0 : 0;
    };
    result.p50Us = quantileUs(0.50);
    result.p99Us = quantileUs(0.99);
    return result;
}
