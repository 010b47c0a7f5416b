#ifndef LUMBRIX_XOLT2PROTOBUF_HANDLE_BASE_H
#define LUMBRIX_XOLT2PROTOBUF_HANDLE_BASE_H

#include <cstddef>
#include <cstdint>

#include "common/core/KsLog.h"
#include "common/ipc/Reflex.h"
#include "msgHandle/HandleRegistration.h"
#include "msgHandle/XoltProtocol.h"

// Base of the radio-to-App handlers: one link frame in, at most one App
// envelope out. A handler serves every frame whose msgid equals
// m_ulMsgType. The handler manager creates the handlers through
// CReflex<CXolt2ProtobufHandleBase> under keys "Xolt2Protobuf.<name>" and owns
// them; a handler keeps no state of its own beyond what CGlobalStatus holds.
//
// Handlers read their fields at fixed payload offsets of the receive record,
// whatever the frame's length: in a frame shorter than its message the next
// bytes are its own two CRC bytes, then whatever the record held before. The
// record is 520 payload bytes long, so no fixed offset reads past it.
class CXolt2ProtobufHandleBase {
public:
    CXolt2ProtobufHandleBase();
    virtual ~CXolt2ProtobufHandleBase();

    virtual int32_t init() = 0;
    virtual int32_t release() = 0;
    // head points at a frame the parser accepted; it is valid only during
    // the call (the next frame overwrites it).
    virtual int32_t handleMsg(__xolt_message_head* head) = 0;

    uint32_t getSupportMsgType() const { return m_ulMsgType; }

protected:
    // The first checks of every handler: a frame is there and carries this
    // handler's msgid. Otherwise logs at warning level (nullText for a
    // missing frame, "Msg id invalid, need <id>" for another msgid) under the
    // caller's file and line, and returns false.
    bool acceptFrame(const __xolt_message_head* head, const char* nullText = "rc_key msg, the msg is null.",
                     const char* file = __builtin_FILE(), int line = __builtin_LINE()) const
    {
        return (head != nullptr && head->msgid == m_ulMsgType) || refuseFrame(head, nullText, file, line);
    }

    uint32_t m_ulMsgType;

private:
    // acceptFrame's log line for a frame it refuses; false.
    bool refuseFrame(const __xolt_message_head* head, const char* nullText, const char* file, int line) const;
};

// The parts every radio-to-App handler shares, declared inside its class:
//
//   class CXoltNormalMsgRsp : public CXolt2ProtobufHandleBase {
//       LUMBRIX_XOLT2PROTOBUF_HANDLE(CXoltNormalMsgRsp)
//   public:
//       int32_t handleMsg(__xolt_message_head* head) override;
//   };
//
// and defined once in its .cpp with its factory key and link msgid:
//
//   LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltNormalMsgRsp, "Xolt2Protobuf.XoltNormalMsgRsp", 110)
//
// The definitions give the constructor (sets m_ulMsgType), the factory
// creator, init() (logs "Init xolt 2 protobuf handle, msg id:" from the
// handler's own file), release() and the static registration.
#define LUMBRIX_XOLT2PROTOBUF_HANDLE(Class) LUMBRIX_REGISTERED_HANDLE(Class, CXolt2ProtobufHandleBase)

#define LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(Class, key, msgId)                                                           \
    LUMBRIX_REGISTERED_HANDLE_IMPL(Class, CXolt2ProtobufHandleBase, key, msgId, "Init xolt 2 protobuf handle, msg id:")

#endif
