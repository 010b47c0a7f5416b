#include "msgHandle/protobuf2Xolt/quickMatch/QuickMatchClearBlacklist.h"

#include "msgHandle/AtCommandDefine.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CQuickMatchClearBlacklist, "Protobuf2Xolt.QuickMatchClearBlacklist",
                                  quelby::protocol::RC_QUICK_MATCH_CLEAR_BLACKLIST_MSG,
                                  "Init protobuf to xolt handle, msg id:")

static CXoltFrameSender s_frameSender;

int32_t CQuickMatchClearBlacklist::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    // The choose-connect wording is this request's log line too.
    KS_LOG_INFO("RC_QUICK_MATCH_CHOOSE_CONNECT_MSG request");
    const quelby::protocol::CommonHead& head = msg.head_data();
    CGlobalStatus::pushSequence(m_ulMsgType, head.message_sequence());
    checkRequest(msg);

    const uint8_t payload[XOLT_MSG_LEN_AT_COMMAND] = {AT_COMAND_QUICK_MATCH_CLEAR_BLACKLIST, 0, 0};
    s_frameSender.send(XOLT_MSG_ID_AT_COMMAND, AT_COMAND_QUICK_MATCH_DESTID, payload, sizeof(payload),
                       XOLT_MSG_CRC_AT_COMMAND);
    return 0;
}
