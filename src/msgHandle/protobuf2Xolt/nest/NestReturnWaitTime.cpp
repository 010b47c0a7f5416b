#include "msgHandle/protobuf2Xolt/nest/NestReturnWaitTime.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestReturnWaitTime, "Protobuf2Xolt.NestReturnWaitTime",
                                  quelby::protocol::NEST_RETURN_WAIT_TIME_MSG, "Init protobuf to xolt handle, msg id:")

void CNestReturnWaitTime::logBody(const quelby::protocol::NestWaitTime& body)
{
    KS_LOG_INFO("Wait time info: " << body.waittime());
}

uint16_t CNestReturnWaitTime::fillArgs(const quelby::protocol::NestWaitTime& body, uint8_t* args)
{
    // The wait time is written after the marks, but the frame carries only
    // the marks, so the wait time never reaches the nest. The frame goes out
    // exactly so.
    args[2] = static_cast<uint8_t>(body.waittime());
    return markArgs(args);
}
