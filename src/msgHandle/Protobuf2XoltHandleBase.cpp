#include "msgHandle/Protobuf2XoltHandleBase.h"

#include "quelby_protocol.pb.h"

CProtobuf2XoltHandleBase::CProtobuf2XoltHandleBase() : m_ulMsgType(0) {}

CProtobuf2XoltHandleBase::~CProtobuf2XoltHandleBase() = default;

bool CProtobuf2XoltHandleBase::parseBody(const quelby::protocol::QuelbyMessage& msg,
                                         google::protobuf::MessageLite& body)
{
    return body.ParseFromString(msg.data().value());
}

bool CProtobuf2XoltHandleBase::checkRequest(const quelby::protocol::QuelbyMessage& msg, const char* file, int line)
{
    const int32_t headType = msg.head_data().head_type();
    if (headType == quelby::protocol::HEAD_TYPE_REQUEST) {
        return true;
    }
    KS_LOG_AT(E_LOG_LEVEL_ERROR, file, line, "Parameter set msg, the head type is not request. head type:" << headType);
    return false;
}
