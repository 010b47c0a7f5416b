#include "msgHandle/XoltProtocol.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "msgHandle/XoltMessageDefine.h"

// The catalogue's CRC extras must agree with the table the parser checks
// against; the set-gimbal-speed extra is the one deliberate exception.
static_assert(xolt_message_crcs[XOLT_MSG_ID_DRONE_UTC_TIME_SYNC] == XOLT_MSG_CRC_DRONE_UTC_TIME_SYNC, "crc extra");
static_assert(xolt_message_crcs[XOLT_MSG_ID_NORMAL_MSG] == XOLT_MSG_CRC_NORMAL_MSG, "crc extra");
static_assert(xolt_message_crcs[XOLT_MSG_ID_RC_KEY] == XOLT_MSG_CRC_RC_KEY, "crc extra");
static_assert(xolt_message_crcs[XOLT_MSG_ID_NEST_VIRTUAL_STICK] == XOLT_MSG_CRC_NEST_VIRTUAL_STICK, "crc extra");
static_assert(xolt_message_crcs[XOLT_MSG_ID_RC_SETTINGS] == XOLT_MSG_CRC_RC_SETTINGS, "crc extra");
static_assert(xolt_message_crcs[XOLT_MSG_ID_NEST_COMMON_COMMAND] == XOLT_MSG_CRC_NEST_COMMON_COMMAND, "crc extra");
static_assert(xolt_message_crcs[XOLT_MSG_ID_NEST_COMMAND_ACK] == XOLT_MSG_CRC_NEST_COMMAND_ACK, "crc extra");
static_assert(xolt_message_crcs[XOLT_MSG_ID_AT_COMMAND] == XOLT_MSG_CRC_AT_COMMAND, "crc extra");
static_assert(xolt_message_crcs[XOLT_MSG_ID_AT_COMMAND_RESP] == XOLT_MSG_CRC_AT_COMMAND_RESP, "crc extra");
static_assert(xolt_message_crcs[XOLT_SYSTEM_CMD_GET_VERSIONS] == XOLT_MSG_CRC_GET_VERSIONS, "crc extra");
static_assert(xolt_message_crcs[XOLT_MSG_ID_RC_SETTINGS] != XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED, "crc extra");

namespace {

// The record is packed, so its crc field is updated through a local copy.
void accumulateCrc(xolt_message_head_t* msg, uint8_t c)
{
    uint16_t crc = msg->crc;
    crc_accumulate(c, &crc);
    msg->crc = crc;
}

void startCrc(xolt_message_head_t* msg)
{
    uint16_t crc;
    crc_init(&crc);
    msg->crc = crc;
}

// A header byte: into the additive checksum and the CRC.
void addHeaderByte(xolt_message_head_t* msg, uint8_t c)
{
    msg->checksum = static_cast<uint8_t>(msg->checksum + c);
    accumulateCrc(msg, c);
}

xolt_rx_counts_t s_rxCounts;

// One writer per count: no locked add.
void addCount(std::atomic<uint64_t>& count, uint64_t n)
{
    count.store(count.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
}

} // namespace

const xolt_rx_counts_t& xolt_get_rx_counts()
{
    return s_rxCounts;
}

xolt_message_head_t* xolt_get_channel_buffer(uint8_t chan)
{
    static xolt_message_head_t s_astBuffer[XOLT_COMM_NUM_BUFFERS];
    return &s_astBuffer[chan % XOLT_COMM_NUM_BUFFERS];
}

xolt_status_t* xolt_get_channel_status(uint8_t chan)
{
    static xolt_status_t s_astStatus[XOLT_COMM_NUM_BUFFERS];
    return &s_astStatus[chan % XOLT_COMM_NUM_BUFFERS];
}

namespace {

// The per-source statistics of a good frame. Statistics only: the sequence
// is compared with the previous one itself, so a sender that counts up
// shows a drop on every frame.
__attribute__((always_inline)) inline void countGoodFrame(const xolt_message_head_t* rxmsg, xolt_status_t* status)
{
    const uint8_t s = rxmsg->sourceid;
    if (status->packet_rx_success_count[s] == 0) {
        status->packet_rx_drop_count[s] = 0;
    }
    if (status->current_rx_seq[s] != rxmsg->seq) {
        status->packet_rx_drop_count[s]++;
    }
    status->packet_rx_success_count[s]++;
    status->current_rx_seq[s] = rxmsg->seq;
}

// One byte through the parser: the body of xolt_frame_char_buffer, inlined
// into the per-datagram loop of xolt_parse_buffer.
__attribute__((always_inline)) inline uint8_t frameChar(xolt_message_head_t* rxmsg, xolt_status_t* status, uint8_t c,
                                                        xolt_message_head_t* r_message)
{
    uint8_t* payload = xolt_payload(rxmsg);
    status->msg_received = XOLT_FRAMING_INCOMPLETE;

    switch (status->parse_state) {
    case XOLT_PARSE_STATE_UNINIT:
    case XOLT_PARSE_STATE_IDLE:
        if (c == XOLT_STX) {
            status->parse_state = XOLT_PARSE_STATE_GOT_STX;
            rxmsg->len = 0;
            rxmsg->magic = c;
            startCrc(rxmsg);
            rxmsg->checksum = XOLT_STX;
        } else {
            addCount(s_rxCounts.skipped_bytes, 1);
        }
        break;

    case XOLT_PARSE_STATE_GOT_STX:
        rxmsg->len_lo = c;
        addHeaderByte(rxmsg, c);
        status->packet_idx = 0;
        status->parse_state = XOLT_PARSE_STATE_GOT_LENGTH_LO;
        break;

    case XOLT_PARSE_STATE_GOT_LENGTH_LO:
        rxmsg->len_hi = c;
        rxmsg->len = static_cast<uint16_t>(rxmsg->len_lo + 256 * c);
        if (rxmsg->len > XOLT_MAX_PAYLOAD_LEN) {
            addCount(s_rxCounts.skipped_bytes, 3); // start, length
            status->parse_error++;
            status->parse_state = XOLT_PARSE_STATE_IDLE;
        } else {
            addHeaderByte(rxmsg, c);
            status->parse_state = XOLT_PARSE_STATE_GOT_LENGTH_HI;
        }
        break;

    case XOLT_PARSE_STATE_GOT_LENGTH_HI:
        rxmsg->seq = c;
        addHeaderByte(rxmsg, c);
        status->parse_state = XOLT_PARSE_STATE_GOT_SEQ;
        break;

    case XOLT_PARSE_STATE_GOT_SEQ:
        rxmsg->destid = c;
        addHeaderByte(rxmsg, c);
        status->parse_state = XOLT_PARSE_STATE_GOT_DESTID;
        break;

    case XOLT_PARSE_STATE_GOT_DESTID:
        rxmsg->sourceid = c;
        addHeaderByte(rxmsg, c);
        status->parse_state = XOLT_PARSE_STATE_GOT_SOURCEID;
        break;

    case XOLT_PARSE_STATE_GOT_SOURCEID:
        rxmsg->msgid = c;
        addHeaderByte(rxmsg, c);
        status->parse_state = XOLT_PARSE_STATE_GOT_MSGID;
        break;

    case XOLT_PARSE_STATE_GOT_MSGID:
        if (c != rxmsg->checksum) {
            addCount(s_rxCounts.skipped_bytes, XOLT_HEADER_LEN);
            status->parse_error++;
            status->parse_state = XOLT_PARSE_STATE_IDLE;
        } else {
            rxmsg->checksum = c;
            accumulateCrc(rxmsg, c);
            status->parse_state = (rxmsg->len != 0) ? XOLT_PARSE_STATE_GOT_CHKSUM : XOLT_PARSE_STATE_GOT_PAYLOAD;
        }
        break;

    case XOLT_PARSE_STATE_GOT_CHKSUM:
        payload[status->packet_idx++] = c;
        accumulateCrc(rxmsg, c);
        if (status->packet_idx == rxmsg->len) {
            status->parse_state = XOLT_PARSE_STATE_GOT_PAYLOAD;
        }
        break;

    case XOLT_PARSE_STATE_GOT_PAYLOAD:
        accumulateCrc(rxmsg, xolt_message_crcs[rxmsg->msgid]);
        status->parse_state = (c == (rxmsg->crc & 0xFF)) ? XOLT_PARSE_STATE_GOT_CRC1 : XOLT_PARSE_STATE_GOT_BAD_CRC1;
        payload[status->packet_idx] = c;
        break;

    case XOLT_PARSE_STATE_GOT_CRC1:
    case XOLT_PARSE_STATE_GOT_BAD_CRC1:
        if (status->parse_state == XOLT_PARSE_STATE_GOT_BAD_CRC1 || c != (rxmsg->crc >> 8)) {
            status->msg_received = XOLT_FRAMING_BAD_CRC;
        } else {
            status->msg_received = XOLT_FRAMING_OK;
        }
        status->parse_state = XOLT_PARSE_STATE_IDLE;
        payload[status->packet_idx + 1] = c;
        if (r_message != rxmsg) {
            memcpy(r_message, rxmsg, rxmsg->len + XOLT_RECORD_NON_PAYLOAD_BYTES);
        }
        break;

    default:
        break;
    }

    if (status->msg_received == XOLT_FRAMING_OK) {
        countGoodFrame(rxmsg, status);
    }

    r_message->len = rxmsg->len;
    status->parse_error = 0;
    return status->msg_received;
}

// What xolt_parse_char does after a bad CRC: report it, count it as a parse
// error and start over, on the byte that ended the frame when it is a start
// byte. Kept out of the per-byte loop.
__attribute__((noinline)) void dropBadCrcFrame(xolt_message_head_t* rxmsg, xolt_status_t* status, uint8_t c,
                                               xolt_message_head_t* r_message)
{
    const uint8_t* ck = xolt_payload(r_message) + r_message->len;
    r_message->crc = static_cast<uint16_t>(ck[0] | (ck[1] << 8));
    addCount(s_rxCounts.bad_crc_frames, 1);
    printf("======XOLT_FRAMING_BAD_CRC, msgid: %d, sourceid: %d=========\n", r_message->msgid, r_message->sourceid);
    status->parse_error++;
    status->msg_received = XOLT_FRAMING_INCOMPLETE;
    status->parse_state = XOLT_PARSE_STATE_IDLE;
    if (c == XOLT_STX) {
        // The byte that ended the bad frame may start the next one. Magic
        // and header checksum are left as they are, so that frame's header
        // sum starts from the old checksum byte, not from 0xFD.
        status->parse_state = XOLT_PARSE_STATE_GOT_STX;
        rxmsg->len = 0;
        startCrc(rxmsg);
    }
}

// One byte through xolt_parse_char on the channel's record and status.
__attribute__((always_inline)) inline uint8_t parseChar(xolt_message_head_t* rxmsg, xolt_status_t* status, uint8_t c,
                                                        xolt_message_head_t* r_message)
{
    const uint8_t msg_received = frameChar(rxmsg, status, c, r_message);
    if (msg_received != XOLT_FRAMING_BAD_CRC) {
        return msg_received;
    }
    dropBadCrcFrame(rxmsg, status, c, r_message);
    return 0;
}

} // namespace

uint8_t xolt_frame_char_buffer(xolt_message_head_t* rxmsg, xolt_status_t* status, uint8_t c,
                               xolt_message_head_t* r_message)
{
    return frameChar(rxmsg, status, c, r_message);
}

uint8_t xolt_frame_char(uint8_t chan, uint8_t c, xolt_message_head_t* r_message, xolt_status_t* r_status)
{
    (void)r_status;
    return frameChar(xolt_get_channel_buffer(chan), xolt_get_channel_status(chan), c, r_message);
}

uint8_t xolt_parse_char(uint8_t chan, uint8_t c, xolt_message_head_t* r_message, xolt_status_t* r_status)
{
    (void)r_status;
    return parseChar(xolt_get_channel_buffer(chan), xolt_get_channel_status(chan), c, r_message);
}

namespace {

// What the byte steps end with when they are idle and a datagram holds the
// whole of a well-formed frame at p (len bytes left): the frame delivered in
// the output record, the channel's record and status as the last CRC byte
// leaves them. Returns the frame's length, or 0 when the frame is not whole
// or not well-formed (too long, a wrong header checksum or CRC): the byte
// steps then take it, with everything they do about it.
__attribute__((always_inline)) inline size_t wholeFrame(xolt_message_head_t* rxmsg, xolt_status_t* status,
                                                        const uint8_t* p, size_t len, xolt_message_head_t* r_message)
{
    if (len < XOLT_NUM_NON_PAYLOAD_BYTES) {
        return 0;
    }
    const uint16_t n = static_cast<uint16_t>(p[1] | (p[2] << 8));
    if (n > XOLT_MAX_PAYLOAD_LEN || len < size_t{n} + XOLT_NUM_NON_PAYLOAD_BYTES) {
        return 0;
    }
    const uint8_t checksum = static_cast<uint8_t>(XOLT_STX + p[1] + p[2] + p[3] + p[4] + p[5] + p[6]);
    if (checksum != p[7]) {
        return 0;
    }
    uint16_t crc = crc_calculate(p + 1, static_cast<uint16_t>(XOLT_HEADER_LEN - 1 + n));
    crc_accumulate(xolt_message_crcs[p[6]], &crc);
    if (p[XOLT_HEADER_LEN + n] != (crc & 0xFF) || p[XOLT_HEADER_LEN + n + 1] != (crc >> 8)) {
        return 0;
    }
    // The record from magic to the CRC bytes is the frame as on the wire.
    const size_t frameLen = size_t{n} + XOLT_NUM_NON_PAYLOAD_BYTES;
    std::memcpy(&rxmsg->magic, p, frameLen);
    rxmsg->len = n;
    rxmsg->crc = crc;
    status->packet_idx = n;
    status->parse_state = XOLT_PARSE_STATE_IDLE;
    status->msg_received = XOLT_FRAMING_OK;
    countGoodFrame(rxmsg, status);
    if (r_message != rxmsg) {
        std::memcpy(r_message, rxmsg, n + XOLT_RECORD_NON_PAYLOAD_BYTES);
    }
    r_message->len = n;
    status->parse_error = 0;
    return frameLen;
}

} // namespace

void xolt_parse_buffer(uint8_t chan, const uint8_t* data, size_t len, xolt_message_head_t* r_message,
                       void (*onFrame)(xolt_message_head_t*))
{
    xolt_message_head_t* rxmsg = xolt_get_channel_buffer(chan);
    xolt_status_t* status = xolt_get_channel_status(chan);
    size_t i = 0;
    while (i < len) {
        const xolt_parse_state_t state = status->parse_state;
        if (state == XOLT_PARSE_STATE_IDLE || state == XOLT_PARSE_STATE_UNINIT) {
            if (data[i] != XOLT_STX) {
                // Bytes before a start byte: each step would only reset the
                // same three fields.
                const void* stx = std::memchr(data + i, XOLT_STX, len - i);
                const size_t next = stx == nullptr ? len : static_cast<size_t>(static_cast<const uint8_t*>(stx) - data);
                addCount(s_rxCounts.skipped_bytes, next - i);
                status->msg_received = XOLT_FRAMING_INCOMPLETE;
                r_message->len = rxmsg->len;
                status->parse_error = 0;
                if (stx == nullptr) {
                    return;
                }
                i = next;
            }
            const size_t frameLen = wholeFrame(rxmsg, status, data + i, len - i, r_message);
            if (frameLen > 0) {
                onFrame(r_message);
                i += frameLen;
                continue;
            }
        } else if (state == XOLT_PARSE_STATE_GOT_CHKSUM) {
            // Payload bytes, as many as the datagram holds of them: each is
            // stored and added to the CRC exactly as the step does one by
            // one, with nothing else to decide until the last one.
            const size_t n = std::min<size_t>(rxmsg->len - status->packet_idx, len - i);
            std::memcpy(xolt_payload(rxmsg) + status->packet_idx, data + i, n);
            uint16_t crc = rxmsg->crc;
            crc_accumulate_buffer(&crc, data + i, static_cast<uint16_t>(n));
            rxmsg->crc = crc;
            status->packet_idx = static_cast<uint16_t>(status->packet_idx + n);
            if (status->packet_idx == rxmsg->len) {
                status->parse_state = XOLT_PARSE_STATE_GOT_PAYLOAD;
            }
            status->msg_received = XOLT_FRAMING_INCOMPLETE;
            r_message->len = rxmsg->len;
            status->parse_error = 0;
            i += n;
            continue;
        }
        if (parseChar(rxmsg, status, data[i], r_message) == XOLT_FRAMING_OK) {
            onFrame(r_message);
        }
        ++i;
    }
}

uint16_t xolt_finalize_message(xolt_message_head_t* msg, uint8_t dest_id, uint8_t source_id, uint16_t length,
                               uint8_t crc_extra, uint8_t& tx_seq)
{
    msg->magic = XOLT_STX;
    msg->len = length;
    msg->len_lo = static_cast<uint8_t>(length & 0xFF);
    msg->len_hi = static_cast<uint8_t>(length >> 8);
    msg->destid = dest_id;
    msg->sourceid = source_id;
    msg->seq = tx_seq;
    tx_seq = static_cast<uint8_t>(tx_seq + 1);
    msg->checksum = static_cast<uint8_t>(XOLT_STX + msg->len_lo + msg->len_hi + msg->seq + msg->destid + msg->sourceid +
                                         msg->msgid);

    // len_lo .. checksum and the payload are contiguous in the record.
    const uint16_t coveredHeaderBytes = XOLT_HEADER_LEN - 1;
    uint16_t crc = crc_calculate(xolt_wire_bytes(msg) + 1, static_cast<uint16_t>(coveredHeaderBytes + length));
    crc_accumulate(crc_extra, &crc);
    msg->crc = crc;

    uint8_t* payload = xolt_payload(msg);
    payload[length] = static_cast<uint8_t>(crc & 0xFF);
    payload[length + 1] = static_cast<uint8_t>(crc >> 8);
    return static_cast<uint16_t>(length + XOLT_NUM_NON_PAYLOAD_BYTES);
}
