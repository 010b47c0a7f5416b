#ifndef LUMBRIX_NEST_COMMAND_TABLE_H
#define LUMBRIX_NEST_COMMAND_TABLE_H

#include <cstdint>

// Every nest command the gateway relays, in both directions: the App request
// that becomes a command frame (link msgid 182, command byte first) and the
// nest's acknowledgement (msgid 183, the same command byte first) that
// becomes the App's answer. The request handlers and the acknowledgement
// handler read this one table.
struct TNestCommand {
    uint8_t command;        // NEST_COMMON_COMMAND value, or one of the unnamed codes
    uint32_t request;       // App MessageType of the request and key of its sequence queue; 0: none
    uint32_t answer;        // message_id of the App answer (0 with no request: a bare envelope)
    const char* requestLog; // info line the request handler writes first; null: none
    const char* answerLog;  // info line the acknowledgement handler writes
};

// The row of a command byte, or null for a command the gateway does not
// answer.
const TNestCommand* findNestCommand(uint8_t command);

// The row of an App request type, or null.
const TNestCommand* findNestRequest(uint32_t request);

#endif
