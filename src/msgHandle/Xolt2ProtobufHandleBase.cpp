#include "Xolt2ProtobufHandleBase.h"

#include <algorithm>
#include <cstring>

#include "XoltProtocol.h"

CXolt2ProtobufHandleBase::CXolt2ProtobufHandleBase() : m_ulMsgType(0) {}

CXolt2ProtobufHandleBase::~CXolt2ProtobufHandleBase() = default;

bool CXolt2ProtobufHandleBase::acceptFrame(const __xolt_message_head* head, const char* nullText, const char* file,
                                           int line) const
{
    if (head == nullptr) {
        KS_LOG_AT(E_LOG_LEVEL_WARN, file, line, nullText);
        return false;
    }
    if (head->msgid != m_ulMsgType) {
        KS_LOG_AT(E_LOG_LEVEL_WARN, file, line, "Msg id invalid, need " << m_ulMsgType);
        return false;
    }
    return true;
}

size_t CXolt2ProtobufHandleBase::copyPayload(const __xolt_message_head* head, void* record, size_t size)
{
    const size_t carried = std::min<size_t>({head->len, XOLT_MAX_PAYLOAD_LEN, size});
    std::memset(record, 0, size);
    std::memcpy(record, xolt_payload(head), carried);
    return carried;
}
