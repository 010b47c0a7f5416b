#ifndef LUMBRIX_XOLT_FRAME_TEXT_H
#define LUMBRIX_XOLT_FRAME_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "msgHandle/XoltProtocol.h"

// Readable one-line descriptions of link frames for the simulator's
// transcript: the message's name and its decoded payload fields, told apart
// by direction (a frame whose sourceid is DEV_APP comes from the gateway,
// any other from the radio side). Stateless.
class CXoltFrameText {
public:
    // "150 RC settings request RC_CMD_GET_GIMBAL_SPEED (seq 3)" and the like.
    static std::string describe(const xolt_message_head_t& frame);
    // Bytes as lower-case hex pairs separated by blanks.
    static std::string hex(const uint8_t* data, size_t length);
    // The frame's bytes on the wire (from magic to the last CRC byte) in hex.
    static std::string wireHex(const xolt_message_head_t& frame);

    static const char* rcCommandName(uint8_t code);
    static const char* nestCommandName(uint8_t code);
};

#endif
