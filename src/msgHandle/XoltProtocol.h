#ifndef LUMBRIX_XOLT_PROTOCOL_H
#define LUMBRIX_XOLT_PROTOCOL_H

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "msgHandle/XoltCrc.h"

// The Xolt link frame codec: the in-memory message record shared by both
// directions, the byte-by-byte receive parser with its per-channel state, and
// the frame finaliser used by every App-to-radio handler.
//
// Frame on the wire (little-endian, N = payload length, 0..512):
//   0xFD | len_lo | len_hi | seq | destid | sourceid | msgid | checksum |
//   payload[N] | crc_lo | crc_hi
// checksum is the 8-bit sum of the seven bytes before it; the CRC covers
// len_lo..payload and then the msgid's CRC-extra byte, which is not sent.
//
// Ownership: the parser's receive record and status of each channel are
// process-wide statics of XoltProtocol.cpp, fed from the event-loop thread
// only. Transmit sequence counters belong to the source module that builds
// the frame (see xolt_finalize_message below).

constexpr uint8_t XOLT_STX = 0xFD;
constexpr uint16_t XOLT_MAX_PAYLOAD_LEN = 512;
constexpr uint16_t XOLT_HEADER_LEN = 8;
constexpr uint16_t XOLT_NUM_CHECKSUM_BYTES = 2;
// Bytes of a frame besides its payload: header plus CRC.
constexpr uint16_t XOLT_NUM_NON_PAYLOAD_BYTES = XOLT_HEADER_LEN + XOLT_NUM_CHECKSUM_BYTES;

enum {
    XOLT_COMM_0 = 0,
    XOLT_COMM_1 = 1,
    XOLT_COMM_2 = 2,
    XOLT_COMM_3 = 3,
};
constexpr uint8_t XOLT_COMM_NUM_BUFFERS = 4;

enum {
    XOLT_FRAMING_INCOMPLETE = 0,
    XOLT_FRAMING_OK = 1,
    XOLT_FRAMING_BAD_CRC = 2,
};

typedef enum {
    XOLT_PARSE_STATE_UNINIT = 0,
    XOLT_PARSE_STATE_IDLE = 1,
    XOLT_PARSE_STATE_GOT_STX = 2,
    XOLT_PARSE_STATE_GOT_SEQ = 3,
    XOLT_PARSE_STATE_GOT_LENGTH_LO = 4,
    XOLT_PARSE_STATE_GOT_LENGTH_HI = 5,
    XOLT_PARSE_STATE_GOT_DESTID = 6,
    XOLT_PARSE_STATE_GOT_SOURCEID = 7,
    XOLT_PARSE_STATE_GOT_MSGID = 8,
    XOLT_PARSE_STATE_GOT_CHKSUM = 9,
    XOLT_PARSE_STATE_GOT_PAYLOAD = 10,
    XOLT_PARSE_STATE_GOT_CRC1 = 11,
    XOLT_PARSE_STATE_GOT_BAD_CRC1 = 12,
} xolt_parse_state_t;

// One link message. From magic to the CRC bytes the record is laid out
// exactly like the frame on the wire: a built frame is sent as the N + 10
// bytes from magic, and the two CRC bytes sit right after the payload.
// Packed, so reach the payload through xolt_payload() only, never through
// payload64 itself (it is not 8-byte aligned).
#pragma pack(push, 1)
struct __xolt_message_head {
    uint16_t crc;  // CRC as computed (builder) or as received (bad-CRC report)
    uint16_t len;  // payload length N
    uint8_t magic; // XOLT_STX
    uint8_t len_lo;
    uint8_t len_hi;
    uint8_t seq;
    uint8_t destid;
    uint8_t sourceid;
    uint8_t msgid;
    uint8_t checksum;       // header checksum
    uint64_t payload64[65]; // up to 512 payload bytes, then the two CRC bytes
};
#pragma pack(pop)
typedef struct __xolt_message_head xolt_message_head_t;

// Bytes of the record before the payload, and the record bytes that carry a
// whole received message of payload length N: N + XOLT_RECORD_NON_PAYLOAD_BYTES.
constexpr size_t XOLT_PAYLOAD_OFFSET = 12;
constexpr size_t XOLT_RECORD_NON_PAYLOAD_BYTES = XOLT_PAYLOAD_OFFSET + XOLT_NUM_CHECKSUM_BYTES;

static_assert(offsetof(xolt_message_head_t, magic) == 4, "magic must follow len with no gap");
static_assert(offsetof(xolt_message_head_t, checksum) == 11, "header must be laid out as on the wire");
static_assert(offsetof(xolt_message_head_t, payload64) == XOLT_PAYLOAD_OFFSET, "payload must start 12 bytes in");
static_assert(sizeof(xolt_message_head_t) == XOLT_PAYLOAD_OFFSET + 520, "record must be packed");

// The payload bytes of a record (followed by the CRC bytes).
inline uint8_t* xolt_payload(xolt_message_head_t* msg)
{
    return reinterpret_cast<uint8_t*>(msg) + XOLT_PAYLOAD_OFFSET;
}

inline const uint8_t* xolt_payload(const xolt_message_head_t* msg)
{
    return reinterpret_cast<const uint8_t*>(msg) + XOLT_PAYLOAD_OFFSET;
}

// The frame as it goes on the wire: the bytes from magic on.
inline const uint8_t* xolt_wire_bytes(const xolt_message_head_t* msg)
{
    return &msg->magic;
}

// Receive parser status of one channel.
struct __xolt_status {
    uint8_t msg_received;   // XOLT_FRAMING_* of the last byte
    uint8_t buffer_overrun; // not set by this program
    uint8_t parse_error;    // 1 for a byte that caused a parse error
    xolt_parse_state_t parse_state;
    uint16_t packet_idx;                   // payload bytes received so far
    uint8_t current_rx_seq[256];           // last sequence received, per sourceid
    uint8_t current_tx_seq[256];           // not used: see xolt_finalize_message
    uint32_t packet_rx_success_count[256]; // good frames, per sourceid
    uint32_t packet_rx_drop_count[256];    // sequence mismatches, per sourceid
    uint32_t packet_tx_success_count[256]; // not used by this program
    uint32_t packet_tx_fail_count[256];    // not used by this program
};
typedef struct __xolt_status xolt_status_t;

// Receive counts of the parser over every channel (the gateway feeds one):
// frames dropped for their CRC, and bytes that were part of no frame
// (before a start byte, or of a header dropped for its length or its
// checksum). Counted by the thread that feeds the parser, readable from any
// thread.
struct xolt_rx_counts_t {
    std::atomic<uint64_t> bad_crc_frames{0};
    std::atomic<uint64_t> skipped_bytes{0};
};
const xolt_rx_counts_t& xolt_get_rx_counts();

// CRC extra of every msgid: the byte that closes the CRC of its frames.
inline constexpr uint8_t xolt_message_crcs[256] = {
    34,  187, 124, 18,  233, 246, 0,   0,   0,   0,   0,   0,   0,   0,   0,   142, // 0
    159, 220, 22,  172, 15,  143, 5,   15,  128, 241, 148, 46,  196, 142, 42,  107, // 16
    163, 193, 11,  97,  29,  115, 80,  0,   133, 126, 38,  15,  5,   114, 0,   0,   // 32
    177, 12,  194, 122, 11,  159, 0,   238, 247, 7,   57,  9,   147, 138, 0,   0,   // 48
    0,   191, 31,  0,   0,   52,  62,  128, 137, 196, 190, 234, 182, 64,  141, 112, // 64
    220, 25,  11,  158, 110, 33,  190, 214, 151, 86,  124, 234, 243, 170, 104, 106, // 80
    51,  142, 54,  164, 65,  143, 249, 244, 145, 232, 171, 196, 153, 75,  183, 178, // 96
    39,  41,  34,  10,  125, 23,  79,  236, 232, 126, 46,  61,  58,  135, 177, 26,  // 112
    8,   138, 88,  0,   0,   0,   0,   0,   0,   0,   0,   0,   180, 0,   0,   0,   // 128
    224, 0,   0,   0,   237, 84,  36,  0,   0,   223, 252, 200, 0,   0,   33,  195, // 144
    57,  2,   115, 0,   0,   0,   0,   0,   194, 146, 20,  204, 146, 72,  32,  28,  // 160
    178, 100, 0,   0,   0,   102, 59,  123, 0,   0,   0,   0,   0,   46,  89,  195, // 176
    106, 52,  43,  119, 128, 0,   0,   0,   131, 47,  0,   0,   0,   0,   0,   0,   // 192
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   // 208
    0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   0,   // 224
    0,   0,   0,   0,   0,   0,   184, 47,  0,   0,   0,   0,   0,   0,   0,   0,   // 240
};

// Receive record and status of a channel (zero at start, kept between
// datagrams). A channel number beyond XOLT_COMM_3 wraps into 0..3.
xolt_message_head_t* xolt_get_channel_buffer(uint8_t chan);
xolt_status_t* xolt_get_channel_status(uint8_t chan);

// Runs one received byte through the parser state held in rxmsg/status.
// Returns XOLT_FRAMING_INCOMPLETE, XOLT_FRAMING_OK, or XOLT_FRAMING_BAD_CRC;
// on OK and BAD_CRC the message has been copied to *r_message.
uint8_t xolt_frame_char_buffer(xolt_message_head_t* rxmsg, xolt_status_t* status, uint8_t c,
                               xolt_message_head_t* r_message);

// xolt_frame_char_buffer on the channel's own record and status. r_status is
// kept for the caller's interface; the live state is the channel's status.
uint8_t xolt_frame_char(uint8_t chan, uint8_t c, xolt_message_head_t* r_message, xolt_status_t* r_status);

// Feeds one byte; returns XOLT_FRAMING_OK (1) when c completed a CRC-correct
// frame, now in *r_message, and 0 otherwise. A bad CRC prints one line to
// standard output and, when c is a start byte, starts the next frame on it.
uint8_t xolt_parse_char(uint8_t chan, uint8_t c, xolt_message_head_t* r_message, xolt_status_t* r_status);

// xolt_parse_char for each of the len bytes at data, in order, with
// onFrame(r_message) called for every frame completed, before the next byte
// is fed. The same parser as byte by byte, without a call per byte.
void xolt_parse_buffer(uint8_t chan, const uint8_t* data, size_t len, xolt_message_head_t* r_message,
                       void (*onFrame)(xolt_message_head_t*));

// Completes a record whose msgid and payload are filled: header, checksum,
// CRC (record field and the two bytes after the payload). The frame's seq is
// tx_seq, which is then advanced (255 wraps to 0). Returns the frame length
// on the wire, length + 10. The caller guarantees length <= 512 and the
// msgid's CRC extra; nothing is checked.
uint16_t xolt_finalize_message(xolt_message_head_t* msg, uint8_t dest_id, uint8_t source_id, uint16_t length,
                               uint8_t crc_extra, uint8_t& tx_seq);

// Transmit sequence counters of the source module that includes this header,
// one per channel. The function has internal linkage, so every .cpp gets its
// own counters, starting at 0: each handler module numbers its frames
// independently of the others. Call it (and the two finalisers below) from
// .cpp files only, not from inline code in other headers.
static inline uint8_t& xolt_module_tx_seq(uint8_t chan)
{
    static uint8_t s_aucTxSeq[XOLT_COMM_NUM_BUFFERS] = {};
    return s_aucTxSeq[chan % XOLT_COMM_NUM_BUFFERS];
}

// Finalises with the calling module's counter of channel chan.
static inline uint16_t xolt_finalize_message_chan(xolt_message_head_t* msg, uint8_t dest_id, uint8_t source_id,
                                                  uint8_t chan, uint16_t length, uint8_t crc_extra)
{
    return xolt_finalize_message(msg, dest_id, source_id, length, crc_extra, xolt_module_tx_seq(chan));
}

// Finalises on channel XOLT_COMM_0 with the calling module's counter.
static inline uint16_t xolt_finalize_message(xolt_message_head_t* msg, uint8_t dest_id, uint8_t source_id,
                                             uint16_t length, uint8_t crc_extra)
{
    return xolt_finalize_message_chan(msg, dest_id, source_id, XOLT_COMM_0, length, crc_extra);
}

#endif
