#include "msgHandle/xolt2Protobuf/XoltMsgPhoneSetHandle.h"

#include <cstddef>

#include "msgHandle/AppEnvelope.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltMsgPhoneSetHandle, "Xolt2Protobuf.PhoneSet", XOLT_MSG_ID_RC_SETTINGS)

namespace {

namespace qp = quelby::protocol;

// DroneParamResponse.response_code values.
constexpr uint32_t PARAM_RESPONSE_SUCCESS = 1;
constexpr uint32_t PARAM_RESPONSE_FAILURE = 2;

// Only every n-th report is logged, counted over the life of the process.
// Stick reports count in iRawCnt; status and calibration-progress reports
// share iBatteryCnt.
constexpr int32_t RAW_LOG_EVERY = 60;
constexpr int32_t STATUS_LOG_EVERY = 30;
constexpr int32_t CALIBRATION_LOG_EVERY = 60;
int32_t iRawCnt = 0;
int32_t iBatteryCnt = 0;

// Counts one report; the counter wraps instead of overflowing.
int32_t countReport(int32_t& counter)
{
    counter = static_cast<int32_t>(static_cast<uint32_t>(counter) + 1u);
    return counter;
}

// The App messages, reused from frame to frame so that the steady stream of
// reports allocates nothing once they have grown to size. Only the
// event-loop thread uses them.
struct TPhoneSetReplies {
    qp::RspMessage rsp;
    qp::DroneParamMessageResponse params;
    qp::ParameterInt32 value;
    qp::RCHardwareStateNtfy hardwareState;
    qp::RCStateNtfy rcState;
    qp::RockerCalibrationStateNtfy calibrationState;
};

TPhoneSetReplies& replies()
{
    static TPhoneSetReplies s_replies;
    return s_replies;
}

void sendToApp(int32_t headType, uint32_t messageId, int32_t sequence, const google::protobuf::MessageLite& body,
               bool logSend)
{
    const int size = CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, headType, messageId, sequence, &body, nullptr);
    if (logSend) {
        KS_LOG_INFO("Send msg to App, data size is " << size << ", msg id:" << messageId << ", head type:" << headType);
    }
}

// A SUCCESS response carrying one DroneParamResponse; a read answer also
// carries the value read.
void sendParamResponse(uint32_t messageId, int32_t sequence, uint32_t paramId, bool accepted,
                       const int32_t* value = nullptr)
{
    TPhoneSetReplies& r = replies();
    r.params.Clear();
    qp::DroneParamResponse* param = r.params.add_params_list();
    param->set_param_id(paramId);
    param->set_response_code(accepted ? PARAM_RESPONSE_SUCCESS : PARAM_RESPONSE_FAILURE);
    if (value != nullptr) {
        r.value.set_value(*value);
        r.value.SerializeToString(param->mutable_data());
    }
    r.rsp.Clear();
    r.rsp.set_status_code(qp::SUCCESS);
    r.params.SerializeToString(r.rsp.mutable_data());
    sendToApp(qp::HEAD_TYPE_RESPONSE, messageId, sequence, r.rsp, true);
}

void logSetData(const uint8_t* d)
{
    KS_LOG_INFO("set_data[0]:" << static_cast<int>(d[0]) << ",set_data[1]:" << static_cast<int>(d[1]) << ",set_data[2]:"
                               << static_cast<int>(d[2]) << ",set_data[3]:" << static_cast<int>(d[3]));
}

void answerSetGimbalSpeed(const uint8_t* d)
{
    logSetData(d);
    KS_LOG_INFO("response of set RC_CMD_SET_GIMBAL_SPEED,status:" << static_cast<int>(d[0]));
    sendParamResponse(qp::PARAM_SET_MSG, CGlobalStatus::ms_iCurSetGimbalSpeedSequence, qp::GIMBAL_PITCH_SPEED_MSG,
                      d[0] == 0);
}

void answerGetGimbalSpeed(const uint8_t* d)
{
    logSetData(d);
    KS_LOG_INFO("response of get RC_CMD_GET_GIMBAL_SPEED,mode:" << static_cast<int>(d[0]));
    // The answer names the rocker-mode parameter, not the gimbal speed: the
    // App matches it so.
    const int32_t speed = d[0];
    sendParamResponse(qp::PARAM_GET_MSG, CGlobalStatus::ms_iCurGetGimbalSpeedSequence, qp::RC_ROCKER_CONTROL_MODE_MSG,
                      speed <= 100, &speed);
}

void answerCalibration(const uint8_t* d)
{
    const int32_t cmd = CGlobalStatus::ms_iCurRcCalibrationCmd;
    KS_LOG_INFO("response of set RC_CMD_CALIBRATION, cmd:" << static_cast<int>(d[0])
                                                           << ", CGlobalStatus::ms_iCurRcCalibrationCmd: " << cmd);
    uint32_t messageId = 0;
    int32_t sequence = 0;
    qp::StatusCode status = d[0] == 1 ? qp::SUCCESS : qp::ERROR;
    // The firmware's result byte does not count when the request is known.
    if (cmd == CGlobalStatus::E_RC_CMD_CALIBRATION_ENTER) {
        messageId = qp::RC_ENTER_CALIBRATION_MSG;
        sequence = CGlobalStatus::ms_iCurEnterCalibrationMsgSequence;
        status = qp::SUCCESS;
        KS_LOG_INFO("response of Enter Calibration");
    } else if (cmd == CGlobalStatus::E_RC_CMD_CALIBRATION_EXIT) {
        messageId = qp::RC_EXIT_CALIBRATION_MSG;
        sequence = CGlobalStatus::ms_iCurExitCalibrationMsgSequence;
        status = qp::SUCCESS;
        KS_LOG_INFO("response of Exit Calibration");
    } else {
        KS_LOG_WARN("When receive a rc calibration cmd msg from transmit, the status is:" << cmd);
    }
    qp::RspMessage& rsp = replies().rsp;
    rsp.Clear();
    rsp.set_status_code(status);
    sendToApp(qp::HEAD_TYPE_RESPONSE, messageId, sequence, rsp, true);
}

void reportHardwareState(const uint8_t* d)
{
    const int32_t cnt = countReport(iRawCnt);
    qp::RCHardwareStateNtfy& state = replies().hardwareState;
    state.set_righthorizontalvalue(rd_i16le(d));
    state.set_rightverticalvalue(rd_i16le(d + 2));
    state.set_lefthorizontalvalue(rd_i16le(d + 4));
    state.set_leftverticalvalue(rd_i16le(d + 6));
    state.set_wheelvalue1(rd_i16le(d + 10));
    state.set_wheelvalue2(0);
    state.set_flightmode(0);
    const bool logIt = cnt % RAW_LOG_EVERY == 1;
    if (logIt) {
        KS_LOG_INFO("rcHardwareState,cnt:"
                    << cnt << "\n rightHorizontalValue:" << state.righthorizontalvalue() << "\n rightVerticalValue:"
                    << state.rightverticalvalue() << "\n leftHorizontalValue:" << state.lefthorizontalvalue()
                    << "\n leftVerticalValue:" << state.leftverticalvalue() << "\n wheelValue1:" << state.wheelvalue1()
                    << "\n wheelValue2:" << state.wheelvalue2() << "\n flightMode:" << state.flightmode());
    }
    sendToApp(qp::HEAD_TYPE_FIXED_FREQUENCY_REPORT, qp::RC_HARDWARE_STATE_NTFY, 0, state, logIt);
}

// The charging voltage lies beyond the phone-set record and is read from the
// receive record's payload there, as it stands.
void reportRcState(const uint8_t* d, const uint8_t* payload)
{
    const int32_t cnt = countReport(iBatteryCnt);
    qp::RCStateNtfy& state = replies().rcState;
    state.set_remainpowerpercent(d[0]);
    state.set_rcsignalquality(d[1]);
    state.set_dspsignalquality(d[2]);
    state.set_calibrationstate(d[3]);
    state.set_batterytemperature(d[4]);
    state.set_chargingvoltage(rd_u16le(payload + PHONE_SET_CHARGING_VOLTAGE_OFFSET));
    const bool logIt = cnt % STATUS_LOG_EVERY == 1;
    if (logIt) {
        KS_LOG_INFO("Rc status notify,set_data[]:" << static_cast<int>(d[0]) << ", " << static_cast<int>(d[1]) << ", "
                                                   << static_cast<int>(d[2]) << ", " << static_cast<int>(d[3]));
        KS_LOG_INFO("Rc battery info notify, cnt:" << cnt << "\n remainPower:" << state.remainpowerpercent()
                                                   << "\n dspSignal:" << state.dspsignalquality()
                                                   << "\n rcSignalQuality:" << state.rcsignalquality()
                                                   << "\n calibrationState:" << state.calibrationstate());
    }
    sendToApp(qp::HEAD_TYPE_FIXED_FREQUENCY_REPORT, qp::RC_STATE_NTFY, 0, state, logIt);
}

void answerSetMode(const uint8_t* d)
{
    KS_LOG_INFO("response of set RC_ROCKER_CONTROL_MODE_MSG,status:" << static_cast<int>(d[0]));
    sendParamResponse(qp::PARAM_SET_MSG, CGlobalStatus::ms_iCurSetModeMsgSequence, qp::RC_ROCKER_CONTROL_MODE_MSG,
                      d[0] == 0);
}

void answerGetMode(const uint8_t* d)
{
    // Taken without looking at the queue first: with no rocker-mode read
    // pending this waits, and stops the event loop, on purpose.
    KS_LOG_INFO("MAP");
    int sequence = 0;
    CGlobalStatus::popSequenceWaiting(qp::PARAM_GET_MSG, sequence);
    KS_LOG_INFO("queue sequence: " << sequence);
    KS_LOG_INFO("response of get RC_ROCKER_CONTROL_MODE_MSG,mode:" << static_cast<int>(d[0]));
    const int32_t mode = d[0];
    sendParamResponse(qp::PARAM_GET_MSG, sequence, qp::RC_ROCKER_CONTROL_MODE_MSG, mode < 3, &mode);
}

int32_t reportCalibrationState(uint8_t length, const uint8_t* d)
{
    const int32_t cnt = countReport(iBatteryCnt);
    const bool logIt = cnt % CALIBRATION_LOG_EVERY == 1;
    if (logIt) {
        KS_LOG_INFO("xolt data length:" << static_cast<int>(length));
    }
    qp::RockerCalibrationStateNtfy& state = replies().calibrationState;
    switch (length) {
    case 17:
        state.set_rightstickstatus(rd_u32le(d));
        state.set_leftstickstatus(rd_u32le(d + 4));
        state.set_rightthumbwheelstatus(rd_u32le(d + 8));
        state.set_leftthumbwheelstatus(rd_u32le(d + 12));
        state.set_midvalibflag(d[16]);
        break;
    case 13: // a firmware without the right thumb wheel
        state.set_rightstickstatus(rd_u32le(d));
        state.set_leftstickstatus(rd_u32le(d + 4));
        state.set_rightthumbwheelstatus(0);
        state.set_leftthumbwheelstatus(rd_u32le(d + 8));
        state.set_midvalibflag(d[12]);
        break;
    default:
        KS_LOG_INFO("illegal length:" << static_cast<int>(length));
        return -1;
    }
    if (logIt) {
        KS_LOG_INFO("Rc calibration status info notify,  cnt:" << cnt << "\n rightStick:" << state.rightstickstatus()
                                                               << "\n leftStick:" << state.leftstickstatus()
                                                               << "\n rightThumbWheel:" << state.rightthumbwheelstatus()
                                                               << "\n leftThumbWheel:" << state.leftthumbwheelstatus()
                                                               << "\n midValidFlag:" << state.midvalibflag());
    }
    sendToApp(qp::HEAD_TYPE_FIXED_FREQUENCY_REPORT, qp::RC_ROCKER_CALIBRATION_STATE_NTFY, 0, state, logIt);
    return 0;
}

} // namespace

int32_t CXoltMsgPhoneSetHandle::handleMsg(__xolt_message_head* head)
{
    if (!acceptFrame(head, "Parameter set rsp msg, the msg is null.")) {
        return 0;
    }

    const uint8_t* payload = xolt_payload(head);
    const uint8_t type = payload[offsetof(__xolt_phone_set_t, type)];
    const uint8_t* d = payload + offsetof(__xolt_phone_set_t, set_data);

    switch (type) {
    case GIMBAL_SPEED_SET:
        answerSetGimbalSpeed(d);
        return 0;
    case GIMBAL_SPEED_GET:
        answerGetGimbalSpeed(d);
        return 0;
    case REMOTE_CALIB_DATA:
        answerCalibration(d);
        return 0;
    case REMOTE_SENSING_UPLOAD:
        reportHardwareState(d);
        return 0;
    case REMOTE_SENSING_BATTERY_QUERY:
        reportRcState(d, payload);
        return 0;
    case REMOTE_OPER_MODE_SET:
        answerSetMode(d);
        return 0;
    case REMOTE_OPER_MODE_GET:
        answerGetMode(d);
        return 0;
    case JOYSTICK_CALIB_DATA_UPLOAD:
        return reportCalibrationState(payload[offsetof(__xolt_phone_set_t, length)], d);
    case RC_CMD_BATTERY_INFO:
    case RC_CMD_RF_INFO:
    case RC_CMD_SMBUS_INFO:
        return 0;
    default:
        KS_LOG_INFO("Parameter type " << static_cast<int>(type) << " is not support.");
        return 0;
    }
}
