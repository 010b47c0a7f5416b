#ifndef LUMBRIX_APP_COMMAND_H
#define LUMBRIX_APP_COMMAND_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "quelby_protocol.pb.h"

// One App request as the simulator sends it, and the answer it waits for.
struct TAppRequest {
    uint32_t messageId = 0;
    std::unique_ptr<google::protobuf::Message> body; // null: the envelope carries no data
    uint32_t answerId = 0; // message_id of the answer (head type response, same sequence); 0: none comes
};

// The App requests the simulator knows, one row each, from the command-line
// words that name them ("get-param gimbal-speed", "nest cabin 1 2", ...).
// The arguments fill the request body's fields in their declaration order
// (as text format values), and the usage is spelled from the App
// protocol's field names. Stateless.
class CAppCommand {
public:
    static void printCommands(FILE* out);
    // 0, or -1 with the reason (a usage line included) in error.
    static int build(const std::vector<std::string>& words, TAppRequest& out, std::string& error);
    // The body type of the requests with this message id; nullptr for none.
    static const google::protobuf::Message* requestBody(uint32_t messageId);
};

#endif
