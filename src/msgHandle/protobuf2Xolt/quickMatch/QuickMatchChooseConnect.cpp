#include "msgHandle/protobuf2Xolt/quickMatch/QuickMatchChooseConnect.h"

#include "msgHandle/AtCommandDefine.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CQuickMatchChooseConnect, "Protobuf2Xolt.QuickMatchChooseConnect",
                                  quelby::protocol::RC_QUICK_MATCH_CHOOSE_CONNECT_MSG,
                                  "Init protobuf to xolt handle, msg id:")

static CXoltFrameSender s_frameSender;

int32_t CQuickMatchChooseConnect::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    KS_LOG_INFO("RC_QUICK_MATCH_CHOOSE_CONNECT_MSG request");
    const quelby::protocol::CommonHead& head = msg.head_data();
    CGlobalStatus::pushSequence(m_ulMsgType, head.message_sequence());
    checkRequest(msg);

    quelby::protocol::ParameterInt32 choice;
    parseBody(msg, choice); // not checked: no body chooses entry 0

    // command 7, the entry's low byte, then zeros up to the fixed length.
    uint8_t payload[XOLT_MSG_LEN_AT_COMMAND_CHOOSE_CONNECT] = {};
    payload[0] = AT_COMAND_QUICK_MATCH_CHOOSE_CONNECT;
    payload[1] = static_cast<uint8_t>(choice.value());
    s_frameSender.send(XOLT_MSG_ID_AT_COMMAND, AT_COMAND_QUICK_MATCH_DESTID, payload, sizeof(payload),
                       XOLT_MSG_CRC_AT_COMMAND);
    return 0;
}
