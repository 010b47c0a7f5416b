#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "XoltByteOrder.h"
#include "XoltMessageDefine.h"
#include "XoltProtocol.h"

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

Bytes wire(const xolt_message_head_t& msg, uint16_t frameLen)
{
    return Bytes(xolt_wire_bytes(&msg), xolt_wire_bytes(&msg) + frameLen);
}

// ---------------------------------------------------------------- CRC

TEST(XoltCrc, CheckValueOverDigits)
{
    const uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(0x6F91, crc_calculate(digits, sizeof(digits)));

    uint16_t crc;
    crc_init(&crc);
    EXPECT_EQ(0xFFFF, crc);
    crc_accumulate_buffer(&crc, digits, 4);
    for (size_t i = 4; i < sizeof(digits); ++i) {
        crc_accumulate(digits[i], &crc);
    }
    EXPECT_EQ(0x6F91, crc);
    EXPECT_EQ(0xFFFF, crc_calculate(digits, 0));
}

// ---------------------------------------------------------------- builder

// RC settings "get gimbal speed" request: 3-byte payload 02 00 00, destid 14,
// sourceid 32, CRC extra 36. Header checksum = seq + msgid + 46 = seq + 196.
const Bytes kGetGimbalSeq0 = {0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x02, 0x00, 0x00, 0xC9, 0x3A};
const Bytes kGetGimbalSeq1 = {0xFD, 0x03, 0x00, 0x01, 0x0E, 0x20, 0x96, 0xC5, 0x02, 0x00, 0x00, 0x70, 0x7C};
const Bytes kGetGimbalSeq255 = {0xFD, 0x03, 0x00, 0xFF, 0x0E, 0x20, 0x96, 0xC3, 0x02, 0x00, 0x00, 0x24, 0xB6};

uint16_t buildGetGimbal(xolt_message_head_t& msg, uint8_t& txSeq)
{
    memset(&msg, 0, sizeof(msg));
    msg.msgid = XOLT_MSG_ID_RC_SETTINGS;
    xolt_payload(&msg)[0] = 2;
    return xolt_finalize_message(&msg, DEV_RC, DEV_APP, XOLT_MSG_LEN_RC_SETTINGS, XOLT_MSG_CRC_RC_SETTINGS, txSeq);
}

TEST(XoltFinalize, BuildsFrameAndAdvancesSequence)
{
    xolt_message_head_t msg;
    uint8_t txSeq = 0;

    ASSERT_EQ(13, buildGetGimbal(msg, txSeq));
    EXPECT_EQ(kGetGimbalSeq0, wire(msg, 13));
    EXPECT_EQ(0x3AC9, msg.crc);
    EXPECT_EQ(3, msg.len);
    EXPECT_EQ(1, txSeq);

    ASSERT_EQ(13, buildGetGimbal(msg, txSeq));
    EXPECT_EQ(kGetGimbalSeq1, wire(msg, 13));

    txSeq = 255;
    ASSERT_EQ(13, buildGetGimbal(msg, txSeq));
    EXPECT_EQ(kGetGimbalSeq255, wire(msg, 13));
    EXPECT_EQ(0, txSeq);
}

TEST(XoltFinalize, ZeroLengthFrameIsHeaderAndCrc)
{
    xolt_message_head_t msg;
    memset(&msg, 0xAA, sizeof(msg));
    msg.msgid = XOLT_SYSTEM_CMD_GET_VERSIONS;
    uint8_t txSeq = 0;
    ASSERT_EQ(10, xolt_finalize_message(&msg, DEV_RC, DEV_APP, 0, XOLT_MSG_CRC_GET_VERSIONS, txSeq));
    EXPECT_EQ((Bytes{0xFD, 0x00, 0x00, 0x00, 0x0E, 0x20, 0xDB, 0x06, 0x1E, 0x60}), wire(msg, 10));
    EXPECT_EQ(0, msg.len);
}

TEST(XoltFinalize, MaximumPayload)
{
    xolt_message_head_t msg;
    msg.msgid = XOLT_MSG_ID_NEST_COMMAND_ACK;
    for (int i = 0; i < 512; ++i) {
        xolt_payload(&msg)[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    uint8_t txSeq = 1;
    ASSERT_EQ(522, xolt_finalize_message(&msg, DEV_APP, DEV_NEST, 512, XOLT_MSG_CRC_NEST_COMMAND_ACK, txSeq));
    const Bytes frame = wire(msg, 522);
    EXPECT_EQ((Bytes{0xFD, 0x00, 0x02, 0x01, 0x20, 0x23, 0xB7, 0xFA}), Bytes(frame.begin(), frame.begin() + 8));
    EXPECT_EQ((Bytes{0x6F, 0xB2}), tail(frame, 520));
}

// The five-argument form numbers frames with this source file's own counter.
TEST(XoltFinalize, ModuleCounterRunsAndWraps)
{
    xolt_message_head_t msg;
    memset(&msg, 0, sizeof(msg));
    msg.msgid = XOLT_MSG_ID_RC_SETTINGS;
    xolt_payload(&msg)[0] = 2;
    for (int i = 0; i < 256; ++i) {
        xolt_finalize_message(&msg, DEV_RC, DEV_APP, 3, XOLT_MSG_CRC_RC_SETTINGS);
        ASSERT_EQ(i, msg.seq);
    }
    EXPECT_EQ(13, xolt_finalize_message(&msg, DEV_RC, DEV_APP, 3, XOLT_MSG_CRC_RC_SETTINGS));
    EXPECT_EQ(kGetGimbalSeq0, wire(msg, 13));

    // Another channel has a counter of its own.
    xolt_finalize_message_chan(&msg, DEV_RC, DEV_APP, XOLT_COMM_1, 3, XOLT_MSG_CRC_RC_SETTINGS);
    EXPECT_EQ(0, msg.seq);
    xolt_finalize_message(&msg, DEV_RC, DEV_APP, 3, XOLT_MSG_CRC_RC_SETTINGS);
    EXPECT_EQ(1, msg.seq);
}

// ---------------------------------------------------------------- parser

struct Frame {
    uint8_t msgid;
    uint8_t seq;
    uint8_t destid;
    uint8_t sourceid;
    Bytes payload;

    bool operator==(const Frame& o) const
    {
        return msgid == o.msgid && seq == o.seq && destid == o.destid && sourceid == o.sourceid &&
               payload == o.payload;
    }
};

std::ostream& operator<<(std::ostream& os, const Frame& f)
{
    return os << "{msgid " << int(f.msgid) << ", seq " << int(f.seq) << ", dest " << int(f.destid) << ", src "
              << int(f.sourceid) << ", len " << f.payload.size() << "}";
}

void resetChannel()
{
    memset(xolt_get_channel_buffer(XOLT_COMM_0), 0, sizeof(xolt_message_head_t));
    memset(xolt_get_channel_status(XOLT_COMM_0), 0, sizeof(xolt_status_t));
}

// Feeds datagrams as the link service does (the whole datagram through
// xolt_parse_buffer) or one xolt_parse_char call per byte: output record and
// status persist between datagrams, every delivered frame is taken before
// the next byte.
class Receiver {
public:
    Receiver() { resetChannel(); }

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

    std::vector<Frame> m_frames;
    xolt_message_head_t m_msg{};
    xolt_status_t m_status{};

private:
    void take(const xolt_message_head_t& msg)
    {
        const uint8_t* pl = xolt_payload(&msg);
        m_frames.push_back({msg.msgid, msg.seq, msg.destid, msg.sourceid, Bytes(pl, pl + msg.len)});
    }

    static Receiver* s_current;
};

Receiver* Receiver::s_current = nullptr;

int countBadCrcLines(const std::string& out)
{
    int n = 0;
    for (size_t pos = out.find("XOLT_FRAMING_BAD_CRC"); pos != std::string::npos;
         pos = out.find("XOLT_FRAMING_BAD_CRC", pos + 1)) {
        ++n;
    }
    return n;
}

// Hand-built frames. G1: RC settings from the RC, seq 5, payload 02 01 03,
// checksum 0xC9, CRC 0x274E. Z: version answer, no payload, checksum 0x0D.
// G2: nest acknowledgement whose payload holds 0xFD twice.
const Bytes G1 = {0xFD, 0x03, 0x00, 0x05, 0x20, 0x0E, 0x96, 0xC9, 0x02, 0x01, 0x03, 0x4E, 0x27};
const Bytes Z = {0xFD, 0x00, 0x00, 0x07, 0x20, 0x0E, 0xDB, 0x0D, 0x5F, 0xB8};
const Bytes G2 = {0xFD, 0x04, 0x00, 0x09, 0x20, 0x23, 0xB7, 0x04, 0x01, 0xFD, 0x00, 0xFD, 0x67, 0x65};
const Frame kG1 = {150, 5, 32, 14, {0x02, 0x01, 0x03}};
const Frame kZ = {219, 7, 32, 14, {}};
const Frame kG2 = {183, 9, 32, 35, {0x01, 0xFD, 0x00, 0xFD}};

// G1 with its CRC high byte replaced by the start byte.
const Bytes G1_CRC_HI_FD = with(G1, 12, 0xFD);
// Z's header and CRC re-done with the checksum summed from G1's checksum 0xC9
// instead of 0xFD: 0xC9 + 0 + 0 + 7 + 32 + 14 + 219 = 0xD9.
const Bytes Z_FROM_OLD_CHECKSUM = {0xFD, 0x00, 0x00, 0x07, 0x20, 0x0E, 0xDB, 0xD9, 0x04, 0x80};
// Empty msgid 210 frame whose header bytes sum to 0 mod 256, so its own
// checksum is 0xFD; CRC 0x64A0, high byte replaced by the start byte.
const Bytes A_CHECKSUM_FD_CRC_HI_FD = {0xFD, 0x00, 0x00, 0x00, 0x0E, 0x20, 0xD2, 0xFD, 0xA0, 0xFD};

Bytes maxPayload()
{
    Bytes p(512);
    for (size_t i = 0; i < p.size(); ++i) {
        p[i] = static_cast<uint8_t>(i * 7 + 3);
    }
    return p;
}

struct ParseCase {
    const char* name;
    Bytes input;
    std::vector<Frame> frames;
    int badCrc;
};

std::vector<ParseCase> parseCases()
{
    return {
        {"good frame", G1, {kG1}, 0},
        {"zero-length frame", Z, {kZ}, 0},
        {"back to back, 0xFD inside a payload", cat({G1, Z, G2}), {kG1, kZ, kG2}, 0},
        {"garbage before the start byte", cat({{0x00, 0x11, 0xFE, 0xFC, 0x7E}, G1}), {kG1}, 0},
        {"length 513 dropped", cat({{0xFD, 0x01, 0x02}, G1}), {kG1}, 0},
        // The len_hi byte 0xFD that made the length too long does not start a
        // frame: G1's body after it is skipped.
        {"length error byte is not a start byte", cat({{0xFD, 0x00, 0xFD}, tail(G1, 1), Z}), {kZ}, 0},
        {"bad header checksum", cat({with(G1, 7, 0xCA), Z}), {kZ}, 0},
        {"header checksum byte 0xFD is not a start byte", cat({with(G1, 7, 0xFD), tail(Z, 1), G1}), {kG1}, 0},
        {"bad CRC low byte", cat({with(G1, 11, 0x4F), Z}), {kZ}, 1},
        {"bad CRC high byte", cat({with(G1, 12, 0x26), Z}), {kZ}, 1},
        // A bad CRC ending in 0xFD restarts on that byte, but the header sum
        // starts from G1's checksum 0xC9: Z's correct header is rejected.
        {"bad CRC ending in 0xFD rejects a correct header", cat({G1_CRC_HI_FD, tail(Z, 1), G2}), {kG2}, 1},
        {"bad CRC both bytes, ending in 0xFD", cat({with(G1_CRC_HI_FD, 11, 0x4F), tail(Z, 1), G2}), {kG2}, 1},
        {"bad CRC ending in 0xFD accepts a header summed from the old checksum",
         cat({G1_CRC_HI_FD, tail(Z_FROM_OLD_CHECKSUM, 1)}),
         {kZ},
         1},
        {"bad CRC ending in 0xFD after a checksum of 0xFD", cat({A_CHECKSUM_FD_CRC_HI_FD, tail(Z, 1)}), {kZ}, 1},
        // The whole frame that follows is lost: its own 0xFD is taken as
        // len_lo, giving length 0x3FD.
        {"bad CRC ending in 0xFD swallows the next frame", cat({G1_CRC_HI_FD, G1, Z}), {kZ}, 1},
        {"512-byte payload",
         cat({{0xFD, 0x00, 0x02, 0x01, 0x20, 0x23, 0xB7, 0xFA}, maxPayload(), {0x6F, 0xB2}}),
         {{183, 1, 32, 35, maxPayload()}},
         0},
    };
}

void expectOutcome(const ParseCase& c, const std::string& how, const std::vector<Frame>& frames,
                   const std::string& printed)
{
    EXPECT_EQ(c.frames, frames) << c.name << ", " << how;
    EXPECT_EQ(c.badCrc, countBadCrcLines(printed)) << c.name << ", " << how;
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
        expectOutcome(c, "byte by byte", rx.m_frames, testing::internal::GetCapturedStdout());
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
            expectOutcome(c, "cut at " + std::to_string(cut), rx.m_frames, testing::internal::GetCapturedStdout());
        }
    }
}

TEST(XoltParser, BadCrcReportsReceivedCrcAndPrintsOneLine)
{
    Receiver rx;
    testing::internal::CaptureStdout();
    const Bytes bad = with(G1, 12, 0x26);
    rx.datagram(bad.data(), bad.size());
    EXPECT_EQ("======XOLT_FRAMING_BAD_CRC, msgid: 150, sourceid: 14=========\n",
              testing::internal::GetCapturedStdout());
    EXPECT_EQ(0x264E, rx.m_msg.crc);
    EXPECT_EQ(1, xolt_get_channel_status(XOLT_COMM_0)->parse_error);

    rx.datagram(G1.data(), G1.size());
    ASSERT_EQ(1u, rx.m_frames.size());
    EXPECT_EQ(0x274E, rx.m_msg.crc);
    EXPECT_EQ(0, xolt_get_channel_status(XOLT_COMM_0)->parse_error);
    // The record keeps the CRC bytes right after the payload.
    EXPECT_EQ(0x4E, xolt_payload(&rx.m_msg)[3]);
    EXPECT_EQ(0x27, xolt_payload(&rx.m_msg)[4]);
}

TEST(XoltParser, BadCrcEndingInStartByteKeepsOldChecksum)
{
    Receiver rx;
    testing::internal::CaptureStdout();
    rx.datagram(G1_CRC_HI_FD.data(), G1_CRC_HI_FD.size());
    testing::internal::GetCapturedStdout();

    const xolt_message_head_t* buf = xolt_get_channel_buffer(XOLT_COMM_0);
    EXPECT_EQ(XOLT_PARSE_STATE_GOT_STX, xolt_get_channel_status(XOLT_COMM_0)->parse_state);
    EXPECT_EQ(0xC9, buf->checksum);
    EXPECT_EQ(0, buf->len);
    EXPECT_EQ(0xFFFF, buf->crc);
    EXPECT_EQ(0xFD4E, rx.m_msg.crc);
    EXPECT_TRUE(rx.m_frames.empty());
}

TEST(XoltParser, PerSourceStatisticsCountEverySequenceChangeAsDrop)
{
    Receiver rx;
    const Bytes g1Seq6 = {0xFD, 0x03, 0x00, 0x06, 0x20, 0x0E, 0x96, 0xCA, 0x02, 0x01, 0x03, 0x85, 0xEC};
    const Bytes g1Seq7 = {0xFD, 0x03, 0x00, 0x07, 0x20, 0x0E, 0x96, 0xCB, 0x02, 0x01, 0x03, 0x3C, 0xAA};
    // Sequences 5, 6, 7, 7: each change from the previous number is a drop,
    // a repeat is not.
    const Bytes in = cat({G1, g1Seq6, g1Seq7, g1Seq7});
    rx.datagram(in.data(), in.size());
    ASSERT_EQ(4u, rx.m_frames.size());
    const xolt_status_t* st = xolt_get_channel_status(XOLT_COMM_0);
    EXPECT_EQ(4u, st->packet_rx_success_count[DEV_RC]);
    EXPECT_EQ(3u, st->packet_rx_drop_count[DEV_RC]);
    EXPECT_EQ(7, st->current_rx_seq[DEV_RC]);
    EXPECT_EQ(0u, st->packet_rx_success_count[DEV_NEST]);
}

// The set-gimbal-speed request is finalised with extra 150, so the gateway's
// own parser, which checks msgid 150 against 36, rejects it.
TEST(XoltParser, OwnGimbalSpeedFrameFailsReceiveCheck)
{
    xolt_message_head_t msg;
    memset(&msg, 0, sizeof(msg));
    msg.msgid = XOLT_MSG_ID_RC_SETTINGS;
    const uint8_t payload[] = {1, 4, 4};
    memcpy(xolt_payload(&msg), payload, sizeof(payload));
    uint8_t txSeq = 0;
    ASSERT_EQ(13, xolt_finalize_message(&msg, DEV_RC, DEV_APP, 3, XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED, txSeq));
    const Bytes frame = wire(msg, 13);
    EXPECT_EQ((Bytes{0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x01, 0x04, 0x04, 0x9C, 0x8D}), frame);

    Receiver rx;
    testing::internal::CaptureStdout();
    rx.datagram(frame.data(), frame.size());
    EXPECT_EQ(1, countBadCrcLines(testing::internal::GetCapturedStdout()));
    EXPECT_TRUE(rx.m_frames.empty());

    rx.datagram(kGetGimbalSeq0.data(), kGetGimbalSeq0.size());
    EXPECT_EQ(1u, rx.m_frames.size());
}

// ---------------------------------------------------------------- byte order

TEST(XoltByteOrder, ReadsAndWritesLittleEndianAtAnyOffset)
{
    uint8_t buf[12] = {0xEE, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, 0xFB, 0xFF, 0xEE};
    EXPECT_EQ(0x0708u, rd_u16le(buf + 1));
    EXPECT_EQ(0x05060708u, rd_u32le(buf + 1));
    EXPECT_EQ(0x0102030405060708ull, rd_u64le(buf + 1));
    EXPECT_EQ(-5, rd_i16le(buf + 9));

    uint8_t out[12] = {};
    wr_u64le(out + 1, 0x0102030405060708ull);
    EXPECT_EQ(0, memcmp(out + 1, buf + 1, 8));
    wr_i32le(out + 3, -5);
    EXPECT_EQ((Bytes{0xFB, 0xFF, 0xFF, 0xFF}), Bytes(out + 3, out + 7));
    EXPECT_EQ(-5, rd_i32le(out + 3));
    wr_u16le(out, 0xBEEF);
    EXPECT_EQ((Bytes{0xEF, 0xBE}), Bytes(out, out + 2));
    wr_i64le(out + 4, -2);
    EXPECT_EQ(-2, rd_i64le(out + 4));
    EXPECT_EQ(0xFE, out[4]);
    EXPECT_EQ(0xFF, out[11]);
    wr_u32le(out, 0x80000001u);
    EXPECT_EQ(INT32_MIN + 1, rd_i32le(out));
}

} // namespace
