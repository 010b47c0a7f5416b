#ifndef LUMBRIX_NEST_COMMAND_HANDLE_H
#define LUMBRIX_NEST_COMMAND_HANDLE_H

#include <cstdint>

#include "GlobalStatus.h"
#include "KsLog.h"
#include "NestCommandDefine.h"
#include "Protobuf2XoltHandleBase.h"
#include "XoltFrameSender.h"
#include "XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

// The flow that every nest command handler shares: App request in, one nest
// command frame (msgid 182) to the nest out. A command class derives from
// CNestCommandHandle<itself, its body message> and declares only what is its
// own, as public statics:
//
//   static uint16_t fillPayload(const Body& body, uint8_t* payload);  // required: payload length
//   static void logRequest();                // optional: the line written first
//   static void logBody(const Body& body);   // optional: the line written after parsing
//
// The flow never refuses a request: the App's sequence is queued for the
// nest's acknowledgement before anything is checked, a request whose head
// type is wrong is logged and still sent, and a body that does not parse is
// sent as zeros. Every command class owns its transmit sequence (the sender
// below is one per class), so each numbers its frames from 0. The handler
// manager owns the handler objects.
template <typename Handler, typename Body>
class CNestCommandHandle : public CProtobuf2XoltHandleBase {
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override
    {
        Handler::logRequest();
        const quelby::protocol::CommonHead& head = msg.head_data();
        CGlobalStatus::pushSequence(m_ulMsgType, head.message_sequence());
        checkRequest(msg);

        Body body;
        parseBody(msg, body); // not checked: what did not parse stays 0
        Handler::logBody(body);

        uint8_t payload[MAX_PAYLOAD] = {};
        const uint16_t length = Handler::fillPayload(body, payload);
        ms_frameSender.send(XOLT_MSG_ID_NEST_COMMON_COMMAND, DEV_NEST, payload, length,
                            XOLT_MSG_CRC_NEST_COMMON_COMMAND);
        return 0;
    }

    // Defaults for the optional declarations.
    static void logRequest() {}
    static void logBody(const Body&) {}

protected:
    // Room for the longest payload (system configuration, 11 bytes) and for
    // bytes a command fills but does not send.
    static constexpr uint16_t MAX_PAYLOAD = 16;

    // command, nesttype, nestaction: the hatch and rod commands.
    static uint16_t typeActionPayload(uint8_t command, const quelby::protocol::NestCommand& body, uint8_t* payload)
    {
        payload[0] = command;
        payload[1] = static_cast<uint8_t>(body.nesttype());
        payload[2] = static_cast<uint8_t>(body.nestaction());
        return 3;
    }

    // command, 0xAA, 0x55: the marked form the other commands start with.
    static uint16_t markedPayload(uint8_t command, uint8_t* payload)
    {
        payload[0] = command;
        payload[1] = NEST_CMD_MARK_0;
        payload[2] = NEST_CMD_MARK_1;
        return 3;
    }

    // command, 0xAA, 0x55, action.
    static uint16_t markedActionPayload(uint8_t command, int32_t action, uint8_t* payload)
    {
        markedPayload(command, payload);
        payload[3] = static_cast<uint8_t>(action);
        return 4;
    }

private:
    static CXoltFrameSender ms_frameSender;
};

template <typename Handler, typename Body>
CXoltFrameSender CNestCommandHandle<Handler, Body>::ms_frameSender;

#endif
