#include "msgHandle/protobuf2Xolt/DroneUtcTimeSyncNtfy.h"

#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CDroneUtcTimeSyncNtfy, "Protobuf2Xolt.DroneUtcTimeSyncNtfy",
                                  quelby::protocol::DRONE_UTC_TIME_SYNC_NTFY, "Init protobuf to xolt handle, msg id:")

static CXoltFrameSender s_frameSender;

int32_t CDroneUtcTimeSyncNtfy::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    KS_LOG_INFO("Drone UTC Time Sync ntf from MainCtrl");
    quelby::protocol::DroneUTCTimeSync timeSync;
    parseBody(msg, timeSync); // not checked: a body that does not parse sends time 0
    KS_LOG_INFO("droneUtcTimeSync.gps_time: " << timeSync.gps_time());

    uint8_t payload[XOLT_MSG_LEN_DRONE_UTC_TIME_SYNC];
    wr_u64le(payload, timeSync.gps_time());
    s_frameSender.send(XOLT_MSG_ID_DRONE_UTC_TIME_SYNC, DEV_RC, payload, sizeof(payload),
                       XOLT_MSG_CRC_DRONE_UTC_TIME_SYNC);
    return 0;
}
