#include "msgHandle/AppEnvelope.h"

#include <vector>

#include "dataAccess/client/ClientBase.h"
#include "dataAccess/client/ClientEntityManager.h"
#include "common/core/KsLog.h"
#include "common/util/KsTime.h"
#include "quelby_protocol.pb.h"

namespace {

// The envelope of the sending thread and the buffer its bytes go to, both
// reused: every message is sized once (ByteSizeLong, body and envelope) and
// written with those sizes straight into storage that has grown to size,
// the very bytes SerializeToString would give.
struct TEnvelopeWriter {
    quelby::protocol::QuelbyMessage envelope;
    std::vector<uint8_t> bytes;
    int token = -1; // the token the header holds, none yet
};

const char* const TOKEN_TEXT[] = {"Remote", "nest"};

} // namespace

const uint8_t* CAppEnvelope::serialize(EToken token, int32_t headType, uint32_t messageId, int32_t sequence,
                                       const google::protobuf::MessageLite* body, int& size)
{
    static thread_local TEnvelopeWriter s_writer;
    quelby::protocol::QuelbyMessage& envelope = s_writer.envelope;

    // Every field that varies is written on each use, so the reused envelope
    // never carries anything over from the previous message; device_id and
    // version are never set, so they stay 0.
    quelby::protocol::CommonHead* head = envelope.mutable_head_data();
    if (s_writer.token != token) {
        head->set_token(TOKEN_TEXT[token]);
        s_writer.token = token;
    }
    head->set_head_type(headType);
    head->set_source_id(2);
    head->set_message_id(static_cast<quelby::protocol::MessageType>(messageId));
    head->set_message_sequence(sequence);
    head->set_time_stamp(static_cast<int64_t>(CKsTime::getCurTimeStamp()));
    if (body != nullptr) {
        std::string* value = envelope.mutable_data()->mutable_value();
        value->resize(body->ByteSizeLong());
        body->SerializeWithCachedSizesToArray(reinterpret_cast<uint8_t*>(&(*value)[0]));
    } else {
        envelope.clear_data();
    }
    const size_t length = envelope.ByteSizeLong();
    if (s_writer.bytes.size() < length) {
        s_writer.bytes.resize(length);
    }
    envelope.SerializeWithCachedSizesToArray(s_writer.bytes.data());
    size = static_cast<int>(length);
    return s_writer.bytes.data();
}

int CAppEnvelope::sendToApp(EToken token, int32_t headType, uint32_t messageId, int32_t sequence,
                            const google::protobuf::MessageLite* body, const char* logText, const char* file, int line)
{
    int size = 0;
    const uint8_t* bytes = serialize(token, headType, messageId, sequence, body, size);
    CClientEntityManager::getInstance()->sendData(E_SERVICE_ID_APP, size, reinterpret_cast<const char*>(bytes));
    if (logText != nullptr) {
        KS_LOG_AT(E_LOG_LEVEL_INFO, file, line, logText << size);
    }
    return size;
}
