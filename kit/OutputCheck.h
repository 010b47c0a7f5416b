#ifndef LUMBRIX_KIT_OUTPUT_CHECK_H
#define LUMBRIX_KIT_OUTPUT_CHECK_H

// What the gateway may send, as the soak run and the fuzz targets check it:
// the fault of a datagram, empty when it has none.
#include <string>
#include <vector>

#include "kit/TestMessages.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"

// A link frame: magic, a length that fits, the header checksum (not for a
// record the parser delivered: after a bad CRC it sums the next header from
// the old checksum byte) and a CRC closed with its msgid's extra (msgid 150
// also with the set-gimbal-speed extra).
inline std::string frameFault(const std::string& f, bool headerSum = true)
{
    if (f.size() < XOLT_NUM_NON_PAYLOAD_BYTES || static_cast<uint8_t>(f[0]) != XOLT_STX) {
        return "no frame header";
    }
    const size_t n = static_cast<uint8_t>(f[1]) | static_cast<uint8_t>(f[2]) << 8;
    if (n > XOLT_MAX_PAYLOAD_LEN || n + XOLT_NUM_NON_PAYLOAD_BYTES != f.size()) {
        return "payload length " + std::to_string(n) + " in a frame of " + std::to_string(f.size());
    }
    uint8_t sum = 0;
    for (size_t i = 0; i + 1 < XOLT_HEADER_LEN; ++i) {
        sum = static_cast<uint8_t>(sum + f[i]);
    }
    if (headerSum && sum != static_cast<uint8_t>(f[7])) {
        return "header checksum";
    }
    const uint8_t msgid = static_cast<uint8_t>(f[6]);
    const uint16_t sent = static_cast<uint16_t>(static_cast<uint8_t>(f[8 + n]) | static_cast<uint8_t>(f[9 + n]) << 8);
    auto closesWith = [&f, sent](uint8_t extra) {
        std::vector<uint8_t> covered(f.begin() + 1, f.end() - 2);
        covered.push_back(extra);
        return referenceCrc(covered) == sent;
    };
    if (closesWith(xolt_message_crcs[msgid]) ||
        (msgid == XOLT_MSG_ID_RC_SETTINGS && closesWith(XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED))) {
        return "";
    }
    return "CRC of msgid " + std::to_string(msgid);
}

// An App message: an envelope with a header, by a strict proto3 parse, byte
// for byte as protobuf serialises what it holds.
inline std::string envelopeFault(const std::string& bytes)
{
    quelby::protocol::QuelbyMessage envelope;
    return parseEnvelope(bytes, envelope) && envelope.has_head_data() && envelope.SerializeAsString() == bytes
               ? ""
               : "not an envelope with a header as serialised";
}

#endif
