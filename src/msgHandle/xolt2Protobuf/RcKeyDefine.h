#ifndef LUMBRIX_RC_KEY_DEFINE_H
#define LUMBRIX_RC_KEY_DEFINE_H

#include <cstdint>
#include <cstring>

#include "msgHandle/XoltProtocol.h"

// The RC's key events (link msgid 144): the key numbers the transmitter
// reports and the record at the start of the payload.

enum XOLT_RC_KEY_ID : uint8_t {
    XOLT_RC_KEY_PHOTO = 4,
    XOLT_RC_KEY_RECORD = 5,
    XOLT_RC_KEY_RESERVED = 6, // reported by the transmitter, not forwarded
    XOLT_RC_KEY_LEFT_CUSTOM = 7,
    XOLT_RC_KEY_RIGHT_CUSTOM = 8,
    XOLT_RC_KEY_ZOOM_IN = 9,
    XOLT_RC_KEY_ZOOM_OUT = 10,
    XOLT_RC_KEY_PHOTO_RECORD = 11,
};

// Key event record: key_time and key_status are logged only, key_value is
// the zoom wheel's value, key_free is unused.
#pragma pack(push, 1)
struct __xolt_rc_key_t {
    uint8_t key_id;
    uint8_t key_time;
    uint8_t key_value;
    uint8_t key_status;
    uint8_t key_free[4];
};
#pragma pack(pop)
static_assert(sizeof(__xolt_rc_key_t) == 8, "key record is 8 bytes on the wire");

// The key record at the start of msg's payload, as the record holds it.
inline void xolt_msg_rc_key_decode(const xolt_message_head_t* msg, __xolt_rc_key_t* key)
{
    std::memcpy(key, xolt_payload(msg), sizeof(*key));
}

#endif
