#include "msgHandle/xolt2Protobuf/XoltMsgAtCommandRsp.h"

#include "msgHandle/AppEnvelope.h"
#include "msgHandle/AtCommandDefine.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltMsgAtCommandRsp, "Xolt2Protobuf.XoltMsgAtCommandRsp",
                                  XOLT_MSG_ID_AT_COMMAND_RESP)

namespace qp = quelby::protocol;

int32_t CXoltMsgAtCommandRsp::handleMsg(__xolt_message_head* head)
{
    if (!acceptFrame(head)) {
        return 0;
    }

    const uint8_t* answer = xolt_payload(head);
    const uint8_t command = answer[AT_COMAND_RESP_MSG_ID_OFFSET];
    const int8_t progress = static_cast<int8_t>(answer[AT_COMAND_RESP_DATA_OFFSET]);
    KS_LOG_INFO("Remote control rc_key msg to app/main_ctrl. keyID:" << static_cast<int>(command));

    switch (command) {
    case REQUEST_PAIR: {
        // The radio's data is not examined: pairing is always answered SUCCESS.
        qp::RspMessage rsp;
        rsp.set_status_code(qp::SUCCESS);
        KS_LOG_INFO("response of REQUEST_PAIR");
        CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, qp::HEAD_TYPE_RESPONSE, qp::AIRLINK_START_MATCHING_MSG,
                                CGlobalStatus::ms_iCurStartMatchingMsgSequence, &rsp);
        return 0;
    }
    case SET_FREQ_BAND:
    case SET_PHOTO_MODE:
    case SET_FCC_MODE:
    case SET_ELOG_SWITCH:
        // The App takes the bare envelope, under the button-event id, as the
        // answer to the setting commands.
        CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, qp::HEAD_TYPE_RESPONSE, qp::RC_HARDWARE_BUTTON_INFO_NTFY, 0,
                                nullptr);
        return 0;
    case PAIR_PROGRESS_REPORT: {
        qp::ParameterInt32 status;
        status.set_value(progress);
        KS_LOG_INFO("case PAIR_PROGRESS_REPORT");
        CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, qp::HEAD_TYPE_FIXED_FREQUENCY_REPORT,
                                qp::AIRLINK_MATCHING_STATUS_NTFY, 0, &status);
        return 0;
    }
    default:
        // The command byte goes into the line as it is, not as a number.
        KS_LOG_INFO("key_id " << static_cast<char>(command) << " is not support.");
        return 0;
    }
}
