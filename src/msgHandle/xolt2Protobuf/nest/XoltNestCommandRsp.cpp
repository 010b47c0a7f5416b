#include "XoltNestCommandRsp.h"

#include "AppEnvelope.h"
#include "GlobalStatus.h"
#include "NestCommandDefine.h"
#include "XoltMessageDefine.h"
#include "XoltProtocol.h"
#include "quelby_protocol.pb.h"

LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltNestCommandRsp, "Xolt2Protobuf.XoltNestCommandRsp",
                                  XOLT_MSG_ID_NEST_COMMAND_ACK)

using namespace quelby::protocol;

namespace {

// One acknowledged command: the App message type whose pending queue holds
// the request's sequence (0: none, the answer is a bare envelope), the
// message id the answer goes out with, and the line written for it.
struct TNestAck {
    uint8_t command;
    uint32_t queueKey;
    uint32_t messageId;
    const char* label;
};

// The system-config answer goes out under the single-calibration id while
// its sequence comes from the system-config queue; the App expects it so.
const TNestAck s_acks[] = {
    {NEST_CMD_HATCH_CONTROL, NEST_CABIN_CONTROL_MSG, NEST_CABIN_CONTROL_MSG, "response of NEST_CMD_HATCH_CONTROL"},
    {NEST_CMD_LOCATION_ROD, NEST_XROD_CONTROL_MSG, NEST_XROD_CONTROL_MSG, "case NEST_CMD_LOCATION_ROD X"},
    {NEST_CMD_CHARGE_ROD, NEST_YROD_CONTROL_MSG, NEST_YROD_CONTROL_MSG, "case NEST_CMD_CHARGE_ROD Y"},
    {NEST_CMD_MOTOR_DRV_POWER, 0, 0, "case NEST_CMD_MOTOR_DRV_POWER"},
    {NEST_CMD_MOTOR_DRV_RESET, 0, 0, "case NEST_CMD_MOTOR_DRV_RESET"},
    {NEST_CMD_MOTOR_CONFIG, 0, 0, "case NEST_CMD_MOTOR_CONFIG"},
    {NEST_CMD_MOTOR_LOCATION_ZERO, NEST_MOTOR_TO_ZERO_MSG, NEST_MOTOR_TO_ZERO_MSG, "case NEST_CMD_MOTOR_LOCATION_ZERO"},
    {NEST_CMD_PADDIES_ROD, NEST_ZROD_CONTROL_MSG, NEST_ZROD_CONTROL_MSG, "case NEST_CMD_PADDIES_ROD Z"},
    {NEST_CODE_CALIBRATION_OPERATION, NEST_CALIBRATION_OPERATION_MSG, NEST_CALIBRATION_OPERATION_MSG,
     "case Calibration Operation"},
    {NEST_CODE_SINGLE_CALIBRATION, NEST_SINGLE_CALIBRATION_MSG, NEST_SINGLE_CALIBRATION_MSG, "case Single Calibration"},
    {NEST_CMD_SYSTEM_CONFIG, NEST_SYSTEM_CONFIG_MSG, NEST_SINGLE_CALIBRATION_MSG, "case NEST_CMD_SYSTEM_CONFIG"},
    {NEST_CMD_SYSTEM_RESET, NEST_RESET_MSG, NEST_RESET_MSG, "case NEST_CMD_SYSTEM_RESET"},
    {NEST_CMD_AIRPLANE_CHARGE, NEST_CHARGE_CONTROL_MSG, NEST_CHARGE_CONTROL_MSG, "case NEST_CMD_AIRPLANE_CHARGE"},
    {NEST_CMD_AIRPLANE_POWER, NEST_TURN_ON_OFF_MSG, NEST_TURN_ON_OFF_MSG, "case NEST_CMD_AIRPLANE_POWER"},
    {NEST_CMD_AIR_CONDITIONER_POWER, NEST_AC_CONTROL_MSG, NEST_AC_CONTROL_MSG, "case NEST_CMD_AIR_CONDITIONER_POWER"},
    {NEST_CMD_SOTF_STOP, NEST_SCRAM_CONTROL_MSG, NEST_SCRAM_CONTROL_MSG, "case NEST_CMD_SOTF_STOP"},
    {NEST_CODE_RETURN_WAIT_TIME, NEST_RETURN_WAIT_TIME_MSG, NEST_RETURN_WAIT_TIME_MSG, "case Z_rod wait time rsp"},
    {NEST_CMD_AUTO_TASK, NEST_AUTO_COMMAND_MSG, NEST_AUTO_COMMAND_MSG, "case NEST_CMD_AUTO_TASK"},
};

const TNestAck* findAck(uint8_t command)
{
    for (const TNestAck& ack : s_acks) {
        if (ack.command == command) {
            return &ack;
        }
    }
    return nullptr;
}

} // namespace

int32_t CXoltNestCommandRsp::handleMsg(__xolt_message_head* head)
{
    if (!acceptFrame(head)) {
        return 0;
    }
    // Payload: command number, then the result (0 success, else the error code).
    const uint8_t* payload = xolt_payload(head);
    const uint8_t command = payload[0];
    const TNestAck* ack = findAck(command);
    if (ack == nullptr) {
        return 0;
    }

    if (ack->queueKey == 0) {
        KS_LOG_INFO(ack->label);
        CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_NEST, HEAD_TYPE_RESPONSE, 0, 0, nullptr);
        return 0;
    }

    const uint8_t result = payload[1];
    int sequence = 0;
    if (!CGlobalStatus::popSequence(ack->queueKey, sequence)) {
        KS_LOG_INFO("Sequence Map is Empty!");
    }

    RspMessage rsp;
    if (result != 0) {
        rsp.set_status_code(ERROR);
        rsp.set_result_code(result);
        KS_LOG_INFO("receive ERROR response, xolt msg id: " << static_cast<int>(command)
                    << ",error code: " << static_cast<int>(result) << ",seq: " << sequence);
    } else {
        rsp.set_status_code(SUCCESS);
        KS_LOG_INFO("receive SUCCESS response, xolt msg id: " << static_cast<int>(command) << ",seq:" << sequence);
    }
    KS_LOG_INFO(ack->label);
    CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_NEST, HEAD_TYPE_RESPONSE, ack->messageId, sequence, &rsp);
    return 0;
}
