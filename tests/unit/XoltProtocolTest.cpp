// The link frame parser: its case table replayed byte by byte and split
// into two datagrams at every offset, and its per-source statistics.
#include <cstring>

#include "UnitTest.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes cat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& p : parts) {
        out.insert(out.end(), p.begin(), p.end());
    }
    return out;
}

Bytes tail(const Bytes& b, size_t from)
{
    return Bytes(b.begin() + static_cast<std::ptrdiff_t>(from), b.end());
}

Bytes with(Bytes b, size_t at, uint8_t value)
{
    b[at] = value;
    return b;
}

Bytes maxPayload()
{
    Bytes p(512);
    for (size_t i = 0; i < p.size(); ++i) {
        p[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    return p;
}

// RC settings "get gimbal speed" request: 3-byte payload 02 00 00, destid 14,
// sourceid 32, CRC extra 36. Header checksum = seq + msgid + 46 = seq + 196.
// The frames the gateway builds are checked end to end.
const Bytes kGetGimbalSeq0 = {0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x02, 0x00, 0x00, 0xC9, 0x3A};
// The set-gimbal-speed request is finalised with extra 150, so the gateway's
// own parser, which checks msgid 150 against 36, rejects it.
const Bytes kSetGimbalSpeed = {0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x01, 0x04, 0x04, 0x9C, 0x8D};

// A delivered frame as text: msgid, seq, destid, sourceid, payload bytes.
std::string frame(int msgid, int seq, int destid, int sourceid, const Bytes& payload)
{
    std::ostringstream out;
    out << msgid << " seq " << seq << " " << sourceid << "->" << destid << ":" << std::hex;
    for (uint8_t b : payload) {
        out << " " << int(b);
    }
    return out.str();
}

// Feeds datagrams as the link service does (the whole datagram through
// xolt_parse_buffer) or one xolt_parse_char call per byte: output record and
// status persist between datagrams, every delivered frame is taken before
// the next byte.
class Receiver {
public:
    Receiver()
    {
        memset(xolt_get_channel_buffer(XOLT_COMM_0), 0, sizeof(xolt_message_head_t));
        memset(xolt_get_channel_status(XOLT_COMM_0), 0, sizeof(xolt_status_t));
    }

    void datagram(const uint8_t* p, size_t n)
    {
        s_current = this;
        xolt_parse_buffer(XOLT_COMM_0, p, n, &m_msg, [](xolt_message_head_t* msg) { s_current->take(*msg); });
    }

    void byte(uint8_t b)
    {
        if (xolt_parse_char(XOLT_COMM_0, b, &m_msg, &m_status) == XOLT_FRAMING_OK) {
            take(m_msg);
        }
    }

    std::vector<std::string> m_frames;
    xolt_message_head_t m_msg{};
    xolt_status_t m_status{};

private:
    void take(const xolt_message_head_t& msg)
    {
        const uint8_t* pl = xolt_payload(&msg);
        m_frames.push_back(frame(msg.msgid, msg.seq, msg.destid, msg.sourceid, Bytes(pl, pl + msg.len)));
    }

    static Receiver* s_current;
};

Receiver* Receiver::s_current = nullptr;

std::string badCrc(int msgid, int sourceid)
{
    return "======XOLT_FRAMING_BAD_CRC, msgid: " + std::to_string(msgid) + ", sourceid: " + std::to_string(sourceid) +
           "=========\n";
}

// Hand-built frames. G1: RC settings from the RC, seq 5, payload 02 01 03,
// checksum 0xC9, CRC 0x274E. Z: version answer, no payload, checksum 0x0D.
// G2: nest acknowledgement whose payload holds 0xFD twice.
const Bytes G1 = {0xFD, 0x03, 0x00, 0x05, 0x20, 0x0E, 0x96, 0xC9, 0x02, 0x01, 0x03, 0x4E, 0x27};
const Bytes Z = {0xFD, 0x00, 0x00, 0x07, 0x20, 0x0E, 0xDB, 0x0D, 0x5F, 0xB8};
const Bytes G2 = {0xFD, 0x04, 0x00, 0x09, 0x20, 0x23, 0xB7, 0x04, 0x01, 0xFD, 0x00, 0xFD, 0x67, 0x65};
const std::string kG1 = frame(150, 5, 32, 14, {0x02, 0x01, 0x03});
const std::string kZ = frame(219, 7, 32, 14, {});
const std::string kG2 = frame(183, 9, 32, 35, {0x01, 0xFD, 0x00, 0xFD});

// G1 with its CRC high byte replaced by the start byte.
const Bytes G1_CRC_HI_FD = with(G1, 12, 0xFD);
// Z's header and CRC re-done with the checksum summed from G1's checksum 0xC9
// instead of 0xFD: 0xC9 + 0 + 0 + 7 + 32 + 14 + 219 = 0xD9.
const Bytes Z_FROM_OLD_CHECKSUM = {0xFD, 0x00, 0x00, 0x07, 0x20, 0x0E, 0xDB, 0xD9, 0x04, 0x80};
// Empty msgid 210 frame whose header bytes sum to 0 mod 256, so its own
// checksum is 0xFD; CRC 0x64A0, high byte replaced by the start byte.
const Bytes A_CHECKSUM_FD_CRC_HI_FD = {0xFD, 0x00, 0x00, 0x00, 0x0E, 0x20, 0xD2, 0xFD, 0xA0, 0xFD};

struct ParseCase {
    const char* name;
    Bytes input;
    std::vector<std::string> frames;
    std::string printed;
    uint16_t crc; // in the output record at the end: the last frame's CRC bytes, right or wrong
};

std::vector<ParseCase> parseCases()
{
    const std::string badG1 = badCrc(150, 14);
    return {
        {"good frame", G1, {kG1}, "", 0x274E},
        {"zero-length frame", Z, {kZ}, "", 0xB85F},
        {"back to back, 0xFD inside a payload", cat({G1, Z, G2}), {kG1, kZ, kG2}, "", 0x6567},
        {"garbage before the start byte", cat({{0x00, 0x11, 0xFE, 0xFC, 0x7E}, G1}), {kG1}, "", 0x274E},
        {"length 513 dropped", cat({{0xFD, 0x01, 0x02}, G1}), {kG1}, "", 0x274E},
        // The len_hi byte 0xFD that made the length too long does not start a
        // frame: G1's body after it is skipped.
        {"length error byte is not a start byte", cat({{0xFD, 0x00, 0xFD}, tail(G1, 1), Z}), {kZ}, "", 0xB85F},
        {"bad header checksum", cat({with(G1, 7, 0xCA), Z}), {kZ}, "", 0xB85F},
        {"header checksum byte 0xFD is not a start byte", cat({with(G1, 7, 0xFD), tail(Z, 1), G1}), {kG1}, "", 0x274E},
        {"bad CRC low byte", cat({with(G1, 11, 0x4F), Z}), {kZ}, badG1, 0xB85F},
        {"bad CRC high byte", cat({with(G1, 12, 0x26), Z}), {kZ}, badG1, 0xB85F},
        {"bad CRC at the end", with(G1, 12, 0x26), {}, badG1, 0x264E},
        {"own set-gimbal-speed frame",
         cat({kSetGimbalSpeed, kGetGimbalSeq0}),
         {frame(150, 0, 14, 32, {2, 0, 0})},
         badCrc(150, 32),
         0x3AC9},
        // A bad CRC ending in 0xFD restarts on that byte, but the header sum
        // starts from G1's checksum 0xC9: Z's correct header is rejected.
        {"bad CRC ending in 0xFD rejects a correct header", cat({G1_CRC_HI_FD, tail(Z, 1), G2}), {kG2}, badG1, 0x6567},
        {"bad CRC both bytes, ending in 0xFD",
         cat({with(G1_CRC_HI_FD, 11, 0x4F), tail(Z, 1), G2}),
         {kG2},
         badG1,
         0x6567},
        {"bad CRC ending in 0xFD accepts a header summed from the old checksum",
         cat({G1_CRC_HI_FD, tail(Z_FROM_OLD_CHECKSUM, 1)}),
         {kZ},
         badG1,
         0x8004},
        {"bad CRC ending in 0xFD after a checksum of 0xFD",
         cat({A_CHECKSUM_FD_CRC_HI_FD, tail(Z, 1)}),
         {kZ},
         badCrc(210, 32),
         0xB85F},
        // The whole frame that follows is lost: its own 0xFD is taken as
        // len_lo, giving length 0x3FD.
        {"bad CRC ending in 0xFD swallows the next frame", cat({G1_CRC_HI_FD, G1, Z}), {kZ}, badG1, 0xB85F},
        {"512-byte payload",
         cat({{0xFD, 0x00, 0x02, 0x01, 0x20, 0x23, 0xB7, 0xFA}, maxPayload(), {0x6F, 0xB2}}),
         {frame(183, 1, 32, 35, maxPayload())},
         "",
         0xB26F},
    };
}

void expectOutcome(const ParseCase& c, const std::string& how, const Receiver& rx, const std::string& printed)
{
    EXPECT_EQ(c.frames, rx.m_frames) << c.name << ", " << how;
    EXPECT_EQ(c.printed, printed) << c.name << ", " << how;
    EXPECT_EQ(c.crc, rx.m_msg.crc) << c.name << ", " << how;
    EXPECT_EQ(XOLT_PARSE_STATE_IDLE, xolt_get_channel_status(XOLT_COMM_0)->parse_state) << c.name << ", " << how;
}

TEST(XoltParser, CasesByteByByte)
{
    for (const ParseCase& c : parseCases()) {
        testing::internal::CaptureStdout();
        Receiver rx;
        for (uint8_t b : c.input) {
            rx.byte(b);
        }
        expectOutcome(c, "byte by byte", rx, testing::internal::GetCapturedStdout());
    }
}

TEST(XoltParser, CasesSplitIntoTwoDatagramsAtEveryOffset)
{
    for (const ParseCase& c : parseCases()) {
        for (size_t cut = 0; cut <= c.input.size(); ++cut) {
            testing::internal::CaptureStdout();
            Receiver rx;
            rx.datagram(c.input.data(), cut);
            rx.datagram(c.input.data() + cut, c.input.size() - cut);
            expectOutcome(c, "cut at " + std::to_string(cut), rx, testing::internal::GetCapturedStdout());
        }
    }
}

// Fed as one datagram (whole frames in one step) or byte by byte.
TEST(XoltParser, PerSourceStatisticsCountEverySequenceChangeAsDrop)
{
    const Bytes g1Seq6 = {0xFD, 0x03, 0x00, 0x06, 0x20, 0x0E, 0x96, 0xCA, 0x02, 0x01, 0x03, 0x85, 0xEC};
    const Bytes g1Seq7 = {0xFD, 0x03, 0x00, 0x07, 0x20, 0x0E, 0x96, 0xCB, 0x02, 0x01, 0x03, 0x3C, 0xAA};
    // Sequences 5, 6, 7, 7: each change from the previous number is a drop,
    // a repeat is not.
    const Bytes in = cat({G1, g1Seq6, g1Seq7, g1Seq7});
    for (const bool byByte : {false, true}) {
        SCOPED_TRACE(byByte ? "byte by byte" : "one datagram");
        Receiver rx;
        if (byByte) {
            for (const uint8_t b : in) {
                rx.byte(b);
            }
        } else {
            rx.datagram(in.data(), in.size());
        }
        ASSERT_EQ(4u, rx.m_frames.size());
        const xolt_status_t* st = xolt_get_channel_status(XOLT_COMM_0);
        EXPECT_EQ(4u, st->packet_rx_success_count[DEV_RC]);
        EXPECT_EQ(3u, st->packet_rx_drop_count[DEV_RC]);
        EXPECT_EQ(7, st->current_rx_seq[DEV_RC]);
        EXPECT_EQ(0u, st->packet_rx_success_count[DEV_NEST]);
    }
}

} // namespace
