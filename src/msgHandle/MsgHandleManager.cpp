#include "msgHandle/MsgHandleManager.h"

#include <list>

#include "common/core/KsLog.h"
#include "common/ipc/Reflex.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

namespace {

// One more message without a handler (a single writer: no locked add).
void countUnhandled(std::atomic<uint64_t>& counter)
{
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

// Creates every handler of one family, initialises it and hands it to
// registerHandle, in the registry's key order.
template <typename Base, typename Register>
void createHandles(const char* prefix, Register registerHandle)
{
    std::list<Base*> created;
    CReflex<Base>::create(prefix, created);
    for (Base* raw : created) {
        if (raw == nullptr) {
            continue;
        }
        std::shared_ptr<Base> handle(raw);
        handle->init();
        registerHandle(handle);
    }
}

} // namespace

int CMsgHandleManager::init()
{
    createHandles<CProtobuf2XoltHandleBase>(
        "Protobuf2Xolt", [this](std::shared_ptr<CProtobuf2XoltHandleBase>& h) { registerProtobuf2XoltHandle(h); });
    createHandles<CXolt2ProtobufHandleBase>(
        "Xolt2Protobuf", [this](std::shared_ptr<CXolt2ProtobufHandleBase>& h) { registerXolt2ProtobufHandle(h); });
    return 0;
}

int CMsgHandleManager::release()
{
    return 0;
}

void CMsgHandleManager::registerProtobuf2XoltHandle(std::shared_ptr<CProtobuf2XoltHandleBase>& handle)
{
    m_mapProtobuf2XoltHandle[handle->getSupportMsgType()] = handle;
}

void CMsgHandleManager::registerXolt2ProtobufHandle(std::shared_ptr<CXolt2ProtobufHandleBase>& handle)
{
    const uint32_t msgType = handle->getSupportMsgType();
    m_mapXolt2ProtobufHandle[msgType] = handle;
    // A link msgid is one byte: a handler for anything above is never found.
    if (msgType < m_apXolt2ProtobufIndex.size()) {
        m_apXolt2ProtobufIndex[msgType] = handle.get();
    }
}

void CMsgHandleManager::handleProtobufMsg(quelby::protocol::QuelbyMessage& msg)
{
    if (!msg.has_head_data()) {
        KS_LOG_ERROR("When handle protobuf msg, the head data is not set.");
        countUnhandled(m_ullUnhandledProtobuf);
        return;
    }
    auto it = m_mapProtobuf2XoltHandle.find(static_cast<uint32_t>(msg.head_data().message_id()));
    if (it == m_mapProtobuf2XoltHandle.end()) {
        countUnhandled(m_ullUnhandledProtobuf);
        return;
    }
    it->second->handleMsg(msg);
}

void CMsgHandleManager::handleXoltMsg(__xolt_message_head* head)
{
    if (head == nullptr) {
        KS_LOG_ERROR("When handle xolt msg, the data is null.");
        return;
    }
    CXolt2ProtobufHandleBase* handler = m_apXolt2ProtobufIndex[head->msgid];
    if (handler == nullptr) {
        countUnhandled(m_ullUnhandledXolt);
        return;
    }
    handler->handleMsg(head);
}
