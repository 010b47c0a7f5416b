#include "msgHandle/protobuf2Xolt/DeviceInfoQuery.h"

#include <cstdio>

#include "framework/GlobalStatus.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CDeviceInfoQuery, "Protobuf2Xolt.DeviceInfoQuery",
                                  quelby::protocol::RC_QUERY_DEVICE_INFO_MSG, "Init protobuf to xolt handle, msg id:")

static CXoltFrameSender s_frameSender;

int32_t CDeviceInfoQuery::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    printf("获取遥控器系统信息\n");
    fflush(stdout);
    KS_LOG_INFO("Device Info Query");
    const quelby::protocol::CommonHead& head = msg.head_data();
    CGlobalStatus::ms_iDeviceInfoQuerySequence = head.message_sequence();
    checkRequest(msg);

    s_frameSender.send(XOLT_SYSTEM_CMD_GET_VERSIONS, DEV_RC, nullptr, XOLT_MSG_LEN_GET_VERSIONS,
                       XOLT_MSG_CRC_GET_VERSIONS);
    return 0;
}
