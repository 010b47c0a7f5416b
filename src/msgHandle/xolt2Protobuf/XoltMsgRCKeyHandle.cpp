#include "msgHandle/xolt2Protobuf/XoltMsgRCKeyHandle.h"

#include "msgHandle/AppEnvelope.h"
#include "msgHandle/xolt2Protobuf/RcKeyDefine.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltMsgRCKeyHandle, "Xolt2Protobuf.RC_Key", XOLT_MSG_ID_RC_KEY)

namespace {

namespace qp = quelby::protocol;

// What the App sees of one transmitter key. The zoom keys roll and carry the
// wheel value; the others click.
struct TKeyMapping {
    uint8_t keyId;
    qp::RC_BUTTON_TYPE buttonType;
    qp::RC_BUTTON_STATE buttonState;
    const char* wheelLog; // set for the keys that carry the wheel value
};

constexpr TKeyMapping KEY_MAPPINGS[] = {
    {XOLT_RC_KEY_PHOTO, qp::RC_BUTTON_TYPE_PHOTO, qp::RC_BUTTON_STATE_CLICK, nullptr},
    {XOLT_RC_KEY_RECORD, qp::RC_BUTTON_TYPE_RECORD, qp::RC_BUTTON_STATE_CLICK, nullptr},
    {XOLT_RC_KEY_LEFT_CUSTOM, qp::RC_BUTTON_TYPE_LEFT_CUSTOM, qp::RC_BUTTON_STATE_CLICK, nullptr},
    {XOLT_RC_KEY_RIGHT_CUSTOM, qp::RC_BUTTON_TYPE_RIGHT_CUSTOM, qp::RC_BUTTON_STATE_CLICK, nullptr},
    {XOLT_RC_KEY_ZOOM_IN, qp::RC_BUTTON_TYPE_ZOOM_IN, qp::RC_BUTTON_STATE_ROLL, "ZOOM IN value:"},
    {XOLT_RC_KEY_ZOOM_OUT, qp::RC_BUTTON_TYPE_ZOOM_OUT, qp::RC_BUTTON_STATE_ROLL, "ZOOM OUT value:"},
    {XOLT_RC_KEY_PHOTO_RECORD, qp::RC_BUTTON_TYPE_PHOTO_RECORD, qp::RC_BUTTON_STATE_CLICK, nullptr},
};

const TKeyMapping* findMapping(uint8_t keyId)
{
    for (const TKeyMapping& mapping : KEY_MAPPINGS) {
        if (mapping.keyId == keyId) {
            return &mapping;
        }
    }
    return nullptr;
}

} // namespace

int32_t CXoltMsgRCKeyHandle::handleMsg(__xolt_message_head* head)
{
    if (!acceptFrame(head)) {
        return 0;
    }

    __xolt_rc_key_t key;
    xolt_msg_rc_key_decode(head, &key);
    KS_LOG_INFO("Remote control rc_key msg to app/main_ctrl. keyID:" << static_cast<int>(key.key_id));
    // key_value is logged with the status byte; only the zoom lines show the
    // wheel value.
    KS_LOG_INFO("key_id: " << static_cast<int>(key.key_id) << ",key_time: " << static_cast<int>(key.key_time)
                           << ",key_value: " << static_cast<int>(key.key_status)
                           << ",key_status: " << static_cast<int>(key.key_status));

    const TKeyMapping* mapping = findMapping(key.key_id);
    if (mapping == nullptr) {
        KS_LOG_INFO("key_id " << static_cast<int>(key.key_id) << " is not support.");
        return 0;
    }

    qp::RCHardwareButtonInfoNtfy button;
    button.set_buttontype(mapping->buttonType);
    button.set_buttonstate(mapping->buttonState);
    if (mapping->wheelLog != nullptr) {
        KS_LOG_INFO(mapping->wheelLog << static_cast<int>(key.key_value));
        button.set_thumbwheelvalue(key.key_value);
    }
    CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, qp::HEAD_TYPE_EVENT_REPORT, qp::RC_HARDWARE_BUTTON_INFO_NTFY, 0,
                            &button, "send msg to app, msg size is ");
    return 0;
}
