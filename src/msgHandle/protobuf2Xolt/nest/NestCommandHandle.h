#ifndef LUMBRIX_NEST_COMMAND_HANDLE_H
#define LUMBRIX_NEST_COMMAND_HANDLE_H

#include <cstdint>

#include "framework/GlobalStatus.h"
#include "common/core/KsLog.h"
#include "msgHandle/NestCommandDefine.h"
#include "msgHandle/NestCommandTable.h"
#include "msgHandle/Protobuf2XoltHandleBase.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

// How a nest command's arguments follow its command byte.
enum ENestArgs {
    E_NEST_ARGS_TYPE_ACTION, // nesttype, nestaction: the hatch and rod commands
    E_NEST_ARGS_MARK,        // 0xAA, 0x55
    E_NEST_ARGS_MARK_ACTION, // 0xAA, 0x55, nestaction
    E_NEST_ARGS_OWN,         // written by the command class's fillArgs
};

// The flow that every nest command handler shares: App request in, one nest
// command frame (msgid 182) to the nest out. The command byte and the
// request's log line come from the nest command table, found by the App
// message type the class serves. A command class derives from
// CNestCommandHandle<itself, its body message, its argument form> and
// declares only what is its own, as public statics:
//
//   static void logBody(const Body& body);                    // optional: the line written after parsing
//   static uint16_t fillArgs(const Body& body, uint8_t* args); // E_NEST_ARGS_OWN: the argument length
//
// The flow never refuses a request: the App's sequence is queued for the
// nest's acknowledgement before anything is checked, a request whose head
// type is wrong is logged and still sent, and a body that does not parse is
// sent as zeros. Every command class owns its transmit sequence (the sender
// below is one per class), so each numbers its frames from 0. The handler
// manager owns the handler objects.
template <typename Handler, typename Body, ENestArgs Args = E_NEST_ARGS_OWN>
class CNestCommandHandle : public CProtobuf2XoltHandleBase {
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override
    {
        // Every command class serves a request of the table.
        const TNestCommand& command = *findNestRequest(m_ulMsgType);
        if (command.requestLog != nullptr) {
            KS_LOG_INFO(command.requestLog);
        }
        CGlobalStatus::pushSequence(m_ulMsgType, msg.head_data().message_sequence());
        checkRequest(msg);

        Body body;
        parseBody(msg, body); // not checked: what did not parse stays 0
        Handler::logBody(body);

        uint8_t payload[MAX_PAYLOAD] = {command.command};
        const uint16_t length = 1 + Handler::fillArgs(body, payload + 1);
        ms_frameSender.send(XOLT_MSG_ID_NEST_COMMON_COMMAND, DEV_NEST, payload, length,
                            XOLT_MSG_CRC_NEST_COMMON_COMMAND);
        return 0;
    }

    // Defaults for the optional declarations.
    static void logBody(const Body&) {}

    static uint16_t fillArgs(const Body& body, uint8_t* args)
    {
        static_assert(Args != E_NEST_ARGS_OWN, "a command with arguments of its own declares fillArgs");
        if constexpr (Args == E_NEST_ARGS_TYPE_ACTION) {
            args[0] = static_cast<uint8_t>(body.nesttype());
            args[1] = static_cast<uint8_t>(body.nestaction());
            return 2;
        } else if constexpr (Args == E_NEST_ARGS_MARK_ACTION) {
            args[2] = static_cast<uint8_t>(body.nestaction());
            return markArgs(args) + 1;
        } else {
            return markArgs(args);
        }
    }

protected:
    // 0xAA, 0x55: the marks most commands carry first.
    static uint16_t markArgs(uint8_t* args)
    {
        args[0] = NEST_CMD_MARK_0;
        args[1] = NEST_CMD_MARK_1;
        return 2;
    }

    // The line most commands write after parsing.
    static void logTypeAction(const Body& body)
    {
        KS_LOG_INFO("nest type: " << body.nesttype() << ",action: " << body.nestaction());
    }

private:
    // Room for the longest payload (system configuration, 11 bytes) and for
    // bytes a command fills but does not send.
    static constexpr uint16_t MAX_PAYLOAD = 16;

    static CXoltFrameSender ms_frameSender;
};

template <typename Handler, typename Body, ENestArgs Args>
CXoltFrameSender CNestCommandHandle<Handler, Body, Args>::ms_frameSender;

#endif
