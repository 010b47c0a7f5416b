#ifndef LUMBRIX_XOLT_NEST_COMMAND_RSP_H
#define LUMBRIX_XOLT_NEST_COMMAND_RSP_H

#include "msgHandle/Xolt2ProtobufHandleBase.h"

// Link msgid 183, the nest's acknowledgement of a command: answers the App
// request that the command came from with an RspMessage, taking the request's
// sequence from the pending queue of the App message type that the command
// serves (first in, first out). Motor-driver commands get a bare envelope;
// other command numbers get nothing. Created and owned by the handler
// manager; the queues belong to CGlobalStatus.
class CXoltNestCommandRsp : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CXoltNestCommandRsp)

public:
    int32_t handleMsg(__xolt_message_head* head) override;
};

#endif
