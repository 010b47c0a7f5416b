#include "msgHandle/xolt2Protobuf/XoltDeviceInfoResp.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include <google/protobuf/text_format.h>

#include "msgHandle/AppEnvelope.h"
#include "framework/GlobalStatus.h"
#include "msgHandle/Utf8Text.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltDeviceInfoResp, "Xolt2Protobuf.XoltDeviceInfoResp", XOLT_SYSTEM_CMD_GET_VERSIONS)

namespace {

namespace qp = quelby::protocol;

// The version answer at the start of the payload: device type, four length
// bytes, then the four strings back to back without terminators.
#pragma pack(push, 1)
struct DeviceType {
    uint8_t deviceType;
    uint8_t transVersionLength;
    uint8_t rcVersionLength;
    uint8_t mcuVersionLength;
    uint8_t motorVersionLength;
    char data[XOLT_MAX_PAYLOAD_LEN - 5];
};
#pragma pack(pop)
constexpr size_t DEVICE_TYPE_DATA_OFFSET = offsetof(DeviceType, data);

// Room for one version string.
constexpr size_t VERSION_FIELD_LEN = 20;

} // namespace

int32_t CXoltDeviceInfoResp::handleMsg(__xolt_message_head* head)
{
    if (!acceptFrame(head)) {
        return 0;
    }

    // The length bytes are read where they stand in the receive record; the
    // strings only from the bytes the frame carried.
    const uint8_t* payload = xolt_payload(head);
    const uint16_t len = head->len;
    const uint8_t transLen = payload[offsetof(DeviceType, transVersionLength)];
    const uint8_t rcLen = payload[offsetof(DeviceType, rcVersionLength)];
    const uint8_t mcuLen = payload[offsetof(DeviceType, mcuVersionLength)];
    const uint8_t motorLen = payload[offsetof(DeviceType, motorVersionLength)];
    const char* data = reinterpret_cast<const char*>(payload + DEVICE_TYPE_DATA_OFFSET);
    const size_t dataLen = len > DEVICE_TYPE_DATA_OFFSET ? len - DEVICE_TYPE_DATA_OFFSET : 0;
    const size_t textLen = std::find(data, data + dataLen, '\0') - data;
    KS_LOG_INFO("payload len: " << len << ",trans len:" << static_cast<int>(transLen)
                                << ",mcu len:" << static_cast<int>(mcuLen) << ",rc len:" << static_cast<int>(rcLen)
                                << ",motor len:" << static_cast<int>(motorLen)
                                << ",data:" << std::string_view(data, textLen));

    for (uint16_t i = 0; i < len; ++i) {
        printf("data[%d]:%c , %x\n", i, payload[i], payload[i]);
    }

    // The strings in the order they are carried, which is also the order of
    // the items. A zero length adds no item. Each string is cut to its
    // 20-byte field and to the bytes carried; what is not UTF-8 is replaced,
    // so that the App's parser accepts the answer.
    const struct {
        uint8_t length;
        qp::DRONE_COMPONENT_TYPE component;
    } versions[] = {
        {transLen, qp::COMPONENT_TRANSMIT},
        {rcLen, qp::COMPONENT_RC},
        {mcuLen, qp::COMPONENT_MCU},
        {motorLen, qp::COMPONENT_MOTOR},
    };
    size_t offset = 0;
    qp::DroneVersionInfo info;
    for (const auto& version : versions) {
        if (version.length != 0) {
            const size_t carried = offset < dataLen ? dataLen - offset : 0;
            const size_t n = std::min<size_t>({version.length, VERSION_FIELD_LEN, carried});
            qp::DroneVersionItem* item = info.add_versioninfolist();
            item->set_componentid(version.component);
            appendUtf8(*item->mutable_softwareversion(), data + std::min(offset, dataLen), n);
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
