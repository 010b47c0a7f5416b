#include "msgHandle/protobuf2Xolt/EnterCalibration.h"

#include "framework/GlobalStatus.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CEnterCalibration, "Protobuf2Xolt.EnterCalibration",
                                  quelby::protocol::RC_ENTER_CALIBRATION_MSG, "Init protobuf 2 xolt handle, msg id:")

static CXoltFrameSender s_frameSender;

int32_t CEnterCalibration::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    // Only the latest request is answered with its own sequence.
    CGlobalStatus::ms_iCurEnterCalibrationMsgSequence = msg.head_data().message_sequence();
    checkRequest(msg);
    CGlobalStatus::ms_iCurRcCalibrationCmd = CGlobalStatus::E_RC_CMD_CALIBRATION_ENTER;

    const uint8_t payload[XOLT_MSG_LEN_RC_SETTINGS] = {RC_CMD_CALIBRATION, RC_SWITCH_FLAG, RC_CALIBRATION_ENTER};
    s_frameSender.send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, payload, sizeof(payload), XOLT_MSG_CRC_RC_SETTINGS);
    return 0;
}
