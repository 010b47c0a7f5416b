#include "Protobuf2XoltHandleBase.h"

#include "quelby_protocol.pb.h"

CProtobuf2XoltHandleBase::CProtobuf2XoltHandleBase() : m_ulMsgType(0) {}

CProtobuf2XoltHandleBase::~CProtobuf2XoltHandleBase() = default;

bool CProtobuf2XoltHandleBase::parseBody(const quelby::protocol::QuelbyMessage& msg,
                                         google::protobuf::MessageLite& body)
{
    return body.ParseFromString(msg.data().value());
}
