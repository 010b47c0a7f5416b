#include "msgHandle/protobuf2Xolt/AirLinkStartMatching.h"

#include <cstdio>

#include "msgHandle/AtCommandDefine.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CAirLinkStartMatching, "Protobuf2Xolt.AirLinkStartMatching",
                                  quelby::protocol::AIRLINK_START_MATCHING_MSG, "Init protobuf 2 xolt handle, msg id:")

static CXoltFrameSender s_frameSender;

int32_t CAirLinkStartMatching::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    const quelby::protocol::CommonHead& head = msg.head_data();
    const uint32_t messageId = static_cast<uint32_t>(head.message_id());
    printf("开始对频： id： %u\n", messageId);
    fflush(stdout);
    KS_LOG_INFO("Start Matching, id： " << messageId);
    checkRequest(msg);
    CGlobalStatus::ms_iCurStartMatchingMsgSequence = head.message_sequence();

    const uint8_t payload[XOLT_MSG_LEN_AT_COMMAND] = {REQUEST_PAIR, 0, 0};
    s_frameSender.send(XOLT_MSG_ID_AT_COMMAND, DEV_RC, payload, sizeof(payload), XOLT_MSG_CRC_AT_COMMAND);
    return 0;
}
