#ifndef LUMBRIX_PROTOBUF2XOLT_HANDLE_BASE_H
#define LUMBRIX_PROTOBUF2XOLT_HANDLE_BASE_H

#include <cstdint>

#include "common/core/KsLog.h"
#include "common/ipc/Reflex.h"
#include "msgHandle/HandleRegistration.h"

namespace google {
namespace protobuf {
class MessageLite;
}
} // namespace google
namespace quelby {
namespace protocol {
class QuelbyMessage;
}
} // namespace quelby

// Base of the App-to-radio handlers: one App envelope in, link frames (and
// sometimes an immediate App answer) out. A handler serves every envelope
// whose head_data.message_id equals m_ulMsgType (an App MessageType). The
// handler manager creates the handlers through
// CReflex<CProtobuf2XoltHandleBase> under keys "Protobuf2Xolt.<name>" and
// owns them. Each handler module numbers its frames with its own
// CXoltFrameSender; pending App sequences go to CGlobalStatus.
class CProtobuf2XoltHandleBase {
public:
    CProtobuf2XoltHandleBase();
    virtual ~CProtobuf2XoltHandleBase();

    virtual int32_t init() = 0;
    virtual int32_t release() = 0;
    virtual int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) = 0;

    uint32_t getSupportMsgType() const { return m_ulMsgType; }

protected:
    // Parses the request body carried in the envelope's data.value into
    // body. An envelope without data reads as an empty body. Returns the
    // parse result; callers that ignore it keep the body's zero defaults.
    static bool parseBody(const quelby::protocol::QuelbyMessage& msg, google::protobuf::MessageLite& body);

    // Whether the envelope is a request. When it is not, logs at error level
    // "Parameter set msg, the head type is not request. head type:" with the
    // head type, under the caller's file and line (the wording the parameter
    // handlers use, shared by every request handler); the handlers carry on
    // either way.
    static bool checkRequest(const quelby::protocol::QuelbyMessage& msg, const char* file = __builtin_FILE(),
                             int line = __builtin_LINE());

    uint32_t m_ulMsgType;
};

// The parts every App-to-radio handler shares, declared inside its class:
//
//   class CNestReset : public CProtobuf2XoltHandleBase {
//       LUMBRIX_PROTOBUF2XOLT_HANDLE(CNestReset)
//   public:
//       int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override;
//   };
//
// and defined once in its .cpp with its factory key, App MessageType and the
// wording of its init line ("Init protobuf to xolt handle, msg id:" or
// "Init protobuf 2 xolt handle, msg id:"):
//
//   LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestReset, "Protobuf2Xolt.NestReset",
//                                     quelby::protocol::NEST_RESET_MSG,
//                                     "Init protobuf to xolt handle, msg id:")
//
// The definitions give the constructor (sets m_ulMsgType), the factory
// creator, init() (logs the text and the id from the handler's own file),
// release() and the static registration.
#define LUMBRIX_PROTOBUF2XOLT_HANDLE(Class) LUMBRIX_REGISTERED_HANDLE(Class, CProtobuf2XoltHandleBase)

#define LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(Class, key, msgType, initText)                                               \
    LUMBRIX_REGISTERED_HANDLE_IMPL(Class, CProtobuf2XoltHandleBase, key, msgType, initText)

#endif
