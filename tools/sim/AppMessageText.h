#ifndef LUMBRIX_APP_MESSAGE_TEXT_H
#define LUMBRIX_APP_MESSAGE_TEXT_H

#include <cstdint>
#include <string>

#include "quelby_protocol.pb.h"

// App envelopes in protobuf text format, layer by layer: the header, then
// the body the message id and head type call for, then what that body
// carries in its own bytes fields (an answer's RspMessage.data, a parameter's
// value). Bodies are told apart with the App protocol's own message types.
// Stateless.
class CAppMessageText {
public:
    // Every layer, each as "  Name {" ... "  }" lines. request: the envelope
    // is a request from the App (its body types differ from the answers').
    static std::string describe(const quelby::protocol::QuelbyMessage& envelope, bool request);
    // "message_id PARAM_GET_MSG (1), head_type 2, sequence 7".
    static std::string summary(const quelby::protocol::QuelbyMessage& envelope);
    // The MessageType's name, or the number when it has none.
    static std::string messageName(uint32_t messageId);
};

#endif
