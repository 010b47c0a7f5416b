#include "msgHandle/Xolt2ProtobufHandleBase.h"

CXolt2ProtobufHandleBase::CXolt2ProtobufHandleBase() : m_ulMsgType(0) {}

CXolt2ProtobufHandleBase::~CXolt2ProtobufHandleBase() = default;

bool CXolt2ProtobufHandleBase::refuseFrame(const __xolt_message_head* head, const char* nullText, const char* file,
                                           int line) const
{
    if (head == nullptr) {
        KS_LOG_AT(E_LOG_LEVEL_WARN, file, line, nullText);
    } else {
        KS_LOG_AT(E_LOG_LEVEL_WARN, file, line, "Msg id invalid, need " << m_ulMsgType);
    }
    return false;
}
