#include "msgHandle/AppEnvelope.h"

#include "dataAccess/client/ClientBase.h"
#include "dataAccess/client/ClientEntityManager.h"
#include "common/core/KsLog.h"
#include "common/util/KsTime.h"
#include "quelby_protocol.pb.h"

const std::string& CAppEnvelope::serialize(const char* token, int32_t headType, uint32_t messageId, int32_t sequence,
                                           const google::protobuf::MessageLite* body)
{
    // Every field that varies is written on each use, so the reused envelope
    // never carries anything over from the previous message; device_id and
    // version are never set, so they stay 0.
    static thread_local quelby::protocol::QuelbyMessage s_envelope;
    static thread_local std::string s_bytes;

    quelby::protocol::CommonHead* head = s_envelope.mutable_head_data();
    head->set_token(token);
    head->set_head_type(headType);
    head->set_source_id(2);
    head->set_message_id(static_cast<quelby::protocol::MessageType>(messageId));
    head->set_message_sequence(sequence);
    head->set_time_stamp(static_cast<int64_t>(CKsTime::getCurTimeStamp()));
    if (body != nullptr) {
        body->SerializeToString(s_envelope.mutable_data()->mutable_value());
    } else {
        s_envelope.clear_data();
    }
    s_envelope.SerializeToString(&s_bytes);
    return s_bytes;
}

int CAppEnvelope::sendToApp(const char* token, int32_t headType, uint32_t messageId, int32_t sequence,
                            const google::protobuf::MessageLite* body, const char* logText, const char* file, int line)
{
    const std::string& bytes = serialize(token, headType, messageId, sequence, body);
    const int size = static_cast<int>(bytes.size());
    CClientEntityManager::getInstance()->sendData(E_SERVICE_ID_APP, size, bytes.data());
    if (logText != nullptr) {
        KS_LOG_AT(E_LOG_LEVEL_INFO, file, line, logText << size);
    }
    return size;
}
