#ifndef LUMBRIX_XOLT_FRAME_SENDER_H
#define LUMBRIX_XOLT_FRAME_SENDER_H

#include <cstdint>

#include "msgHandle/XoltProtocol.h"

// Builds and sends the link frames of one handler module. Each App-to-radio
// handler module keeps one sender as a static of its .cpp; the sender owns
// that module's 8-bit transmit sequence, so frames of different handlers
// are numbered independently, each from 0. Every frame carries sourceid 32
// and goes to the radio side (service id 2). The frame is built on the
// stack. In a handler module:
//
//   static CXoltFrameSender s_frameSender;
//   ...
//   const uint8_t payload[3] = {17, 0xAA, 0x55};
//   s_frameSender.send(182, 35, payload, sizeof(payload), 59);
class CXoltFrameSender {
public:
    static constexpr uint8_t SOURCE_ID_APP = 32;

    CXoltFrameSender() : m_ucTxSeq(0) {}

    // What send() writes besides the frame: the info line "Send msg to
    // transmit, DestServiceID: 2, bytes: " with the frame length, and for
    // some frames a dump of every byte to standard output before it.
    enum ESendLog { LOG_NONE, LOG_LINE, LOG_DUMP_AND_LINE };

    // Builds the frame (msgid, the length payload bytes, this module's
    // sequence) and sends it to the radio side, after writing what log asks
    // for: the line under the caller's file and line; the dump as a blank
    // line before every tenth byte and one "sz[i]: xx" line per byte.
    // Returns the send result, 0 or -1.
    int send(uint8_t msgid, uint8_t destid, const void* payload, uint16_t length, uint8_t crcExtra,
             ESendLog log = LOG_LINE, const char* file = __builtin_FILE(), int line = __builtin_LINE());

private:
    // Fills frame with msgid and the length payload bytes and finalises it
    // with this module's sequence. Returns the length on the wire
    // (length + 10), starting at xolt_wire_bytes(&frame). The caller
    // guarantees length <= 512 and the msgid's CRC extra.
    uint16_t build(xolt_message_head_t& frame, uint8_t msgid, uint8_t destid, const void* payload, uint16_t length,
                   uint8_t crcExtra);

    uint8_t m_ucTxSeq;
};

#endif
