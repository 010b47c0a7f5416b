#include "msgHandle/xolt2Protobuf/nest/XoltNestCommandRsp.h"

#include "msgHandle/AppEnvelope.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/NestCommandTable.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltNestCommandRsp, "Xolt2Protobuf.XoltNestCommandRsp", XOLT_MSG_ID_NEST_COMMAND_ACK)

using namespace quelby::protocol;

int32_t CXoltNestCommandRsp::handleMsg(__xolt_message_head* head)
{
    if (!acceptFrame(head)) {
        return 0;
    }
    // Payload: command number, then the result (0 success, else the error code).
    const uint8_t* payload = xolt_payload(head);
    const uint8_t command = payload[0];
    const TNestCommand* ack = findNestCommand(command);
    if (ack == nullptr) {
        return 0;
    }

    // A command without an App request is answered with a bare envelope.
    if (ack->request == 0) {
        KS_LOG_INFO(ack->answerLog);
        CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_NEST, HEAD_TYPE_RESPONSE, 0, 0, nullptr);
        return 0;
    }

    const uint8_t result = payload[1];
    int sequence = 0;
    if (!CGlobalStatus::popSequence(ack->request, sequence)) {
        KS_LOG_INFO("Sequence Map is Empty!");
    }

    RspMessage rsp;
    if (result != 0) {
        rsp.set_status_code(ERROR);
        rsp.set_result_code(result);
        KS_LOG_INFO("receive ERROR response, xolt msg id: " << static_cast<int>(command) << ",error code: "
                                                            << static_cast<int>(result) << ",seq: " << sequence);
    } else {
        rsp.set_status_code(SUCCESS);
        KS_LOG_INFO("receive SUCCESS response, xolt msg id: " << static_cast<int>(command) << ",seq:" << sequence);
    }
    KS_LOG_INFO(ack->answerLog);
    CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_NEST, HEAD_TYPE_RESPONSE, ack->answer, sequence, &rsp);
    return 0;
}
