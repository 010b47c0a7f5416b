#include "msgHandle/protobuf2Xolt/RcSystemTimeMsg.h"

#include "framework/GlobalStatus.h"
#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CRcSystemTimeMsg, "Protobuf2Xolt.RcSystemTimeMsg",
                                  quelby::protocol::RC_SYSTEM_TIME_MSG, "Init protobuf to xolt handle, msg id:")

static CXoltFrameSender s_frameSender;

int32_t CRcSystemTimeMsg::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    KS_LOG_INFO("RcSystemTime from App");
    const quelby::protocol::CommonHead& head = msg.head_data();
    // Queued before anything is checked, so the acknowledgement always finds it.
    CGlobalStatus::pushSequence(m_ulMsgType, head.message_sequence());
    checkRequest(msg);

    quelby::protocol::SystemTimeInfo timeInfo;
    parseBody(msg, timeInfo); // not checked: what did not parse stays 0
    KS_LOG_INFO("systemTimeInfo.utctimeinterval: " << timeInfo.utctimeinterval()
                                                   << ",systemTimeInfo.timezone: " << timeInfo.timezone());

    // command 78 | utctimeinterval (8) | timezone (4)
    uint8_t payload[XOLT_MSG_LEN_NORMAL_MSG];
    wr_u16le(payload, XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME);
    wr_i64le(payload + 2, timeInfo.utctimeinterval());
    wr_i32le(payload + 10, timeInfo.timezone());
    // The whole frame also goes to standard output, ten bytes to a block.
    s_frameSender.send(XOLT_MSG_ID_NORMAL_MSG, DEV_RC, payload, sizeof(payload), XOLT_MSG_CRC_NORMAL_MSG,
                       CXoltFrameSender::LOG_DUMP_AND_LINE);
    return 0;
}
