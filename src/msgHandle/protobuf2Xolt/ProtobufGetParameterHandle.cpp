#include "msgHandle/protobuf2Xolt/ProtobufGetParameterHandle.h"

#include "dataAccess/client/ClientBase.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CProtobufGetParameterHandle, "Protobuf2Xolt.GetParameter",
                                  quelby::protocol::PARAM_GET_MSG, "Init protobuf 2 xolt handle, msg id:")

namespace {

CXoltFrameSender s_frameSender;

// The element's value: absent when the element has no data or its bytes are
// not a ParameterInt32 (present but empty bytes read as 0).
bool readValue(const quelby::protocol::DroneParamsRequest& param, quelby::protocol::ParameterInt32& value)
{
    return param.has_data() && value.ParseFromString(param.data().value()) && value.IsInitialized();
}

// Sends the read request of one element. False when the element is refused
// (after logging why); the caller then logs the unset send target.
bool requestParameter(const quelby::protocol::DroneParamsRequest& param, int32_t sequence, uint32_t msgType)
{
    const int paramId = param.param_id();
    if (param.param_type() != quelby::protocol::INT32) {
        KS_LOG_WARN("Parameter type " << param.param_type() << " is not support, parameter id:" << paramId);
        return false;
    }
    quelby::protocol::ParameterInt32 value;
    if (!readValue(param, value)) {
        KS_LOG_WARN("Value is null for parameter id:" << paramId);
        return false;
    }

    uint8_t payload[XOLT_MSG_LEN_RC_SETTINGS] = {};
    switch (paramId) {
    case quelby::protocol::GIMBAL_PITCH_SPEED_MSG:
        payload[0] = RC_CMD_GET_GIMBAL_SPEED;
        CGlobalStatus::ms_iCurGetGimbalSpeedSequence = sequence;
        KS_LOG_INFO("Get gimbal speed mode");
        break;
    case quelby::protocol::RC_ROCKER_CONTROL_MODE_MSG:
        CGlobalStatus::ms_iCurGetModeMsgSequence = sequence;
        CGlobalStatus::pushSequence(msgType, sequence);
        payload[0] = RC_CMD_GET_MODE;
        KS_LOG_INFO("Get rocker control mode");
        break;
    default:
        KS_LOG_WARN("illegal paramID: " << paramId);
        return false;
    }
    s_frameSender.send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, payload, sizeof(payload), XOLT_MSG_CRC_RC_SETTINGS);
    return true;
}

} // namespace

int32_t CProtobufGetParameterHandle::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    if (&msg == &quelby::protocol::QuelbyMessage::default_instance() || !msg.has_data()) {
        KS_LOG_WARN("Parameter get msg, the data is null.");
        return -1;
    }
    const int32_t headType = msg.head_data().head_type();
    if (headType != quelby::protocol::HEAD_TYPE_REQUEST) {
        KS_LOG_WARN("Parameter get msg, the head type is not request. head type:" << headType);
        return -1;
    }
    quelby::protocol::DroneParamMessageRequest request;
    if (!parseBody(msg, request)) {
        KS_LOG_WARN("Parse params from parameter get msg failed.");
        return -1;
    }

    const int32_t sequence = msg.head_data().message_sequence();
    for (const quelby::protocol::DroneParamsRequest& param : request.params_list()) {
        KS_LOG_INFO("Get parameter, parameter id:" << static_cast<int>(param.param_id()));
        if (!requestParameter(param, sequence, m_ulMsgType)) {
            KS_LOG_WARN("illegal DestServiceID: " << E_SERVICE_ID_BEGIN << ", MsgBytes: " << 0);
        }
    }
    return 0;
}
