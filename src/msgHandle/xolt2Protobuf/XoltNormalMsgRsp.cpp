#include "msgHandle/xolt2Protobuf/XoltNormalMsgRsp.h"

#include "msgHandle/AppEnvelope.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltNormalMsgRsp, "Xolt2Protobuf.XoltNormalMsgRsp", XOLT_MSG_ID_NORMAL_MSG)

namespace {

namespace qp = quelby::protocol;

// Acknowledgement record: acknowledged command (u16 little-endian), result
// byte (0 success, otherwise the error code).
constexpr size_t ACK_MSG_ID_OFFSET = 0;
constexpr size_t ACK_RESULT_OFFSET = 2;

} // namespace

int32_t CXoltNormalMsgRsp::handleMsg(__xolt_message_head* head)
{
    if (!acceptFrame(head)) {
        return 0;
    }

    const uint8_t* ack = xolt_payload(head);
    const uint16_t ackedId = rd_u16le(ack + ACK_MSG_ID_OFFSET);
    if (ackedId != XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME) {
        KS_LOG_INFO("key_id " << ackedId << " is not support.");
        return 0;
    }
    const uint8_t result = ack[ACK_RESULT_OFFSET];

    int sequence = 0;
    if (!CGlobalStatus::popSequence(qp::RC_SYSTEM_TIME_MSG, sequence)) {
        KS_LOG_INFO("Sequence Map is Empty!");
    }

    qp::RspMessage rsp;
    if (result != 0) {
        rsp.set_status_code(qp::ERROR);
        rsp.set_result_code(result);
        KS_LOG_INFO("receive ERROR response, xolt msg id: " << XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME << ",error code: "
                                                            << static_cast<int>(result) << ",seq: " << sequence);
    } else {
        rsp.set_status_code(qp::SUCCESS);
        KS_LOG_INFO("receive SUCCESS response, xolt msg id: " << XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME
                                                              << ",seq:" << sequence);
    }
    KS_LOG_INFO("response of RC_SYSTEM_TIME");
    CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, qp::HEAD_TYPE_RESPONSE, qp::RC_SYSTEM_TIME_MSG, sequence, &rsp);
    return 0;
}
