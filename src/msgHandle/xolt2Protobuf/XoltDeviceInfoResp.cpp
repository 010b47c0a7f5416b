#include "XoltDeviceInfoResp.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include <google/protobuf/text_format.h>

#include "AppEnvelope.h"
#include "GlobalStatus.h"
#include "XoltMessageDefine.h"
#include "XoltProtocol.h"
#include "quelby_protocol.pb.h"

LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltDeviceInfoResp, "Xolt2Protobuf.XoltDeviceInfoResp",
                                  XOLT_SYSTEM_CMD_GET_VERSIONS)

namespace {

namespace qp = quelby::protocol;

// The version answer: five length bytes, then the four strings back to back
// without terminators. The copy holds the longest payload and one zero more,
// so data always ends in a terminator.
constexpr uint16_t DEVICE_TYPE_HEAD_LEN = 5;
#pragma pack(push, 1)
struct DeviceType {
    uint8_t deviceType;
    uint8_t transVersionLength;
    uint8_t rcVersionLength;
    uint8_t mcuVersionLength;
    uint8_t motorVersionLength;
    char data[XOLT_MAX_PAYLOAD_LEN - DEVICE_TYPE_HEAD_LEN + 1];
};
#pragma pack(pop)
static_assert(sizeof(DeviceType) == XOLT_MAX_PAYLOAD_LEN + 1, "a whole payload and a terminator");

// Room for one version string.
constexpr size_t VERSION_FIELD_LEN = 20;

} // namespace

int32_t CXoltDeviceInfoResp::handleMsg(__xolt_message_head* head)
{
    if (!acceptFrame(head)) {
        return 0;
    }

    // What the frame did not carry reads as 0.
    DeviceType record;
    const size_t len = copyPayload(head, &record, sizeof(record));
    KS_LOG_INFO("payload len: " << len << ",trans len:" << static_cast<int>(record.transVersionLength)
                                << ",mcu len:" << static_cast<int>(record.mcuVersionLength)
                                << ",rc len:" << static_cast<int>(record.rcVersionLength)
                                << ",motor len:" << static_cast<int>(record.motorVersionLength)
                                << ",data:" << record.data);

    const uint8_t* raw = reinterpret_cast<const uint8_t*>(&record);
    for (uint16_t i = 0; i < len; ++i) {
        printf("data[%d]:%c , %x\n", i, raw[i], raw[i]);
    }

    // The strings in the order they are carried, which is also the order of
    // the items. A zero length adds no item.
    const struct {
        uint8_t length;
        qp::DRONE_COMPONENT_TYPE component;
    } versions[] = {
        {record.transVersionLength, qp::COMPONENT_TRANSMIT},
        {record.rcVersionLength, qp::COMPONENT_RC},
        {record.mcuVersionLength, qp::COMPONENT_MCU},
        {record.motorVersionLength, qp::COMPONENT_MOTOR},
    };
    const size_t dataLen = len > DEVICE_TYPE_HEAD_LEN ? len - DEVICE_TYPE_HEAD_LEN : 0;
    size_t offset = 0;
    qp::DroneVersionInfo info;
    for (const auto& version : versions) {
        if (version.length != 0) {
            const size_t carried = offset < dataLen ? dataLen - offset : 0;
            const size_t n = std::min<size_t>({version.length, VERSION_FIELD_LEN, carried});
            qp::DroneVersionItem* item = info.add_versioninfolist();
            item->set_componentid(version.component);
            // Lengths may run past the payload: then nothing is carried, and
            // no pointer past the record is even formed.
            item->set_softwareversion(n != 0 ? record.data + offset : "", n);
        }
        offset += version.length;
    }

    std::string text;
    google::protobuf::TextFormat::PrintToString(info, &text);
    printf("[Remote Version] %s\n", text.c_str());
    fflush(stdout);

    qp::RspMessage rsp;
    rsp.set_status_code(qp::SUCCESS);
    rsp.set_module_id(0);
    info.SerializeToString(rsp.mutable_data());
    CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, qp::HEAD_TYPE_RESPONSE, qp::RC_HARDWARE_BUTTON_INFO_NTFY,
                            CGlobalStatus::ms_iDeviceInfoQuerySequence, &rsp, "send msg to app, msg size is ");
    return 0;
}
