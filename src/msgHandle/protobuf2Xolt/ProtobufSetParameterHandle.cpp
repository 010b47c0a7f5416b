#include "msgHandle/protobuf2Xolt/ProtobufSetParameterHandle.h"

#include "dataAccess/client/ClientBase.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CProtobufSetParameterHandle, "Protobuf2Xolt.SetParameter",
                                  quelby::protocol::PARAM_SET_MSG, "Init protobuf 2 xolt handle, msg id:")

namespace {

CXoltFrameSender s_frameSender;

// The element's value: absent when the element has no data or its bytes are
// not a ParameterInt32 (present but empty bytes read as 0).
bool readValue(const quelby::protocol::DroneParamsRequest& param, quelby::protocol::ParameterInt32& value)
{
    return param.has_data() && value.ParseFromString(param.data().value()) && value.IsInitialized();
}

// Sends the write request of one element. False when the element is refused
// (after logging why); the caller then logs the unset send target.
bool writeParameter(const quelby::protocol::DroneParamsRequest& param, int32_t sequence)
{
    const int paramId = param.param_id();
    if (param.param_type() != quelby::protocol::INT32) {
        KS_LOG_WARN("Parameter type " << param.param_type() << " is not support, parameter id:" << paramId);
        return false;
    }
    quelby::protocol::ParameterInt32 parameter;
    if (!readValue(param, parameter)) {
        KS_LOG_WARN("Value is null for parameter id:" << paramId);
        return false;
    }
    const int32_t value = parameter.value();

    // Both frames carry 3 payload bytes; for the gimbal speed the whole value
    // is written after the width byte, but only its low byte goes out.
    uint8_t payload[2 + sizeof(int32_t)] = {};
    uint8_t crcExtra = XOLT_MSG_CRC_RC_SETTINGS;
    switch (paramId) {
    case quelby::protocol::RC_ROCKER_CONTROL_MODE_MSG:
        payload[0] = RC_CMD_SET_MODE;
        payload[1] = RC_MODE_VALUE_WIDTH;
        payload[2] = static_cast<uint8_t>(value);
        CGlobalStatus::ms_iCurSetModeMsgSequence = sequence;
        KS_LOG_INFO("set control mode设置摇杆操控模式: " << value);
        break;
    case quelby::protocol::GIMBAL_PITCH_SPEED_MSG:
        payload[0] = RC_CMD_SET_GIMBAL_SPEED;
        payload[1] = RC_GIMBAL_SPEED_VALUE_WIDTH;
        wr_i32le(payload + 2, value);
        CGlobalStatus::ms_iCurSetGimbalSpeedSequence = sequence;
        KS_LOG_INFO("set gimbal speed 设置云台速度：" << value);
        KS_LOG_INFO("set_data[0]:" << static_cast<int>(payload[2]) << ",set_data[1]:" << static_cast<int>(payload[3])
                                   << ",set_data[2]:" << static_cast<int>(payload[4])
                                   << ",set_data[3]:" << static_cast<int>(payload[5]));
        crcExtra = XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED;
        break;
    default:
        KS_LOG_WARN("illegal paramID!!!" << paramId);
        return false;
    }
    s_frameSender.send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, payload, XOLT_MSG_LEN_RC_SETTINGS, crcExtra);
    return true;
}

} // namespace

int32_t CProtobufSetParameterHandle::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    if (&msg == &quelby::protocol::QuelbyMessage::default_instance() || !msg.has_data()) {
        KS_LOG_WARN("Parameter set msg, the data is null.");
        return -1;
    }
    const int32_t headType = msg.head_data().head_type();
    if (headType != quelby::protocol::HEAD_TYPE_REQUEST) {
        KS_LOG_WARN("Parameter set msg, the head type is not request. head type:" << headType);
        return -1;
    }
    quelby::protocol::DroneParamMessageRequest request;
    if (!parseBody(msg, request)) {
        KS_LOG_WARN("Parse params from parameter set msg failed.");
        return -1;
    }

    const int32_t sequence = msg.head_data().message_sequence();
    for (const quelby::protocol::DroneParamsRequest& param : request.params_list()) {
        KS_LOG_INFO("Set parameter, parameter id:" << static_cast<int>(param.param_id()));
        if (!writeParameter(param, sequence)) {
            KS_LOG_WARN("illegal DestServiceID: " << E_SERVICE_ID_BEGIN << ", MsgBytes: " << 0);
        }
    }
    return 0;
}
