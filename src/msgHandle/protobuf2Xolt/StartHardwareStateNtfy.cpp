#include "msgHandle/protobuf2Xolt/StartHardwareStateNtfy.h"

#include "msgHandle/AppEnvelope.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CStartHardwareStateNtfy, "Protobuf2Xolt.StartHardwareStateNtfy",
                                  quelby::protocol::RC_START_HARDWARE_STATE_NTFY_MSG,
                                  "Init protobuf 2 xolt handle, msg id:")

static CXoltFrameSender s_frameSender;

int32_t CStartHardwareStateNtfy::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    checkRequest(msg);
    KS_LOG_INFO("start rocker state upload");

    // A body that does not parse keeps the value 0.
    quelby::protocol::ParameterInt32 parameter;
    parseBody(msg, parameter);
    const int32_t value = parameter.value();
    KS_LOG_INFO("start hardware state notify,param value:" << value);

    const uint8_t payload[XOLT_MSG_LEN_RC_SETTINGS] = {RC_CMD_RAW_DATA, RC_SWITCH_FLAG, static_cast<uint8_t>(value)};
    s_frameSender.send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, payload, sizeof(payload), XOLT_MSG_CRC_RC_SETTINGS);

    quelby::protocol::RspMessage rsp;
    rsp.set_status_code(quelby::protocol::SUCCESS);
    CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, quelby::protocol::HEAD_TYPE_RESPONSE, m_ulMsgType,
                            msg.head_data().message_sequence(), &rsp, "Send msg to app, bytes:");
    return 0;
}
