#include "NestReturnWaitTime.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestReturnWaitTime, "Protobuf2Xolt.NestReturnWaitTime",
                                  quelby::protocol::NEST_RETURN_WAIT_TIME_MSG, "Init protobuf to xolt handle, msg id:")

void CNestReturnWaitTime::logBody(const quelby::protocol::NestWaitTime& body)
{
    KS_LOG_INFO("Wait time info: " << body.waittime());
}

uint16_t CNestReturnWaitTime::fillPayload(const quelby::protocol::NestWaitTime& body, uint8_t* payload)
{
    // The wait time is written into byte 3, but the frame carries the 3-byte
    // payload, so the wait time never reaches the nest. The frame goes out
    // exactly so.
    payload[3] = static_cast<uint8_t>(body.waittime());
    return markedPayload(NEST_CODE_RETURN_WAIT_TIME, payload);
}
