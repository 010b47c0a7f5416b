#ifndef LUMBRIX_APP_ENVELOPE_H
#define LUMBRIX_APP_ENVELOPE_H

#include <cstdint>

namespace google {
namespace protobuf {
class MessageLite;
}
} // namespace google

// Builds and sends the App envelope (QuelbyMessage) of every message the
// gateway produces for the App. The header always carries device_id 0,
// source_id 2, version 0 and the current time in milliseconds; the caller
// gives the token, head type, App message id and sequence. The serialised
// body goes into data.value (type_url stays empty); without a body, data is
// left unset. The envelope and its bytes are reused per thread, so sending
// neither builds a new message nor allocates once they have grown to size.
class CAppEnvelope {
public:
    // The header's token: "Remote" on the RC's messages, "nest" on the nest's.
    enum EToken { TOKEN_RC, TOKEN_NEST };
    static constexpr const char* LOG_SENT = "send msg to App, msg size is ";

    // The serialised envelope: size bytes at the result, valid until the
    // next call on the same thread.
    static const uint8_t* serialize(EToken token, int32_t headType, uint32_t messageId, int32_t sequence,
                                    const google::protobuf::MessageLite* body, int& size);

    // Serialises as above and sends the bytes to the App (service id 0).
    // When logText is not null, then logs at info level logText followed by
    // the size, under the caller's file and line. Returns the envelope size
    // (whatever the send's result; a failed send is logged by the client).
    static int sendToApp(EToken token, int32_t headType, uint32_t messageId, int32_t sequence,
                         const google::protobuf::MessageLite* body, const char* logText = LOG_SENT,
                         const char* file = __builtin_FILE(), int line = __builtin_LINE());
};

#endif
