#ifndef LUMBRIX_XOLT_FRAME_TEXT_H
#define LUMBRIX_XOLT_FRAME_TEXT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "msgHandle/XoltProtocol.h"

// Link frames as the simulators print them: one readable line per frame,
// the message's name and its payload fields, told apart by direction (a
// frame whose sourceid is DEV_APP comes from the gateway, any other from
// the radio side), and the bytes in hex. Stateless.
class CXoltFrameText {
public:
    // "150 RC settings request RC_CMD_GET_GIMBAL_SPEED (seq 3)" and the like.
    static std::string describe(const xolt_message_head_t& frame);
    // Every frame of a datagram on a line of its own after prefix (" (bad
    // CRC)" after a frame whose CRC is bad), then the datagram's bytes.
    static std::string datagram(const std::string& prefix, const uint8_t* data, size_t length);
    // Bytes as lower-case hex pairs separated by blanks.
    static std::string hex(const uint8_t* data, size_t length);
    // Calls each with every frame of a datagram and whether its CRC is
    // good: closed with its msgid's CRC extra or, for the gateway's
    // set-gimbal-speed request, with the msgid itself, as the gateway closes
    // it.
    static void frames(const uint8_t* data, size_t length,
                       const std::function<void(const xolt_message_head_t& frame, bool crcGood)>& each);
};

#endif
