#ifndef LUMBRIX_MSG_HANDLE_MANAGER_H
#define LUMBRIX_MSG_HANDLE_MANAGER_H

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "msgHandle/Protobuf2XoltHandleBase.h"
#include "msgHandle/Xolt2ProtobufHandleBase.h"
#include "common/core/KsSingleton.h"

// The one place that decides which handler takes a message. init() creates
// every handler the factory registry knows under "Protobuf2Xolt" and
// "Xolt2Protobuf" and files it under the id it serves; the two receiving
// services then hand each parsed message to handleProtobufMsg or
// handleXoltMsg. The manager owns the handlers through its two maps, which
// are written during start-up only and read without locks afterwards; a
// link frame's handler is looked up in a table of the same handlers by
// msgid, made as they are registered.
class CMsgHandleManager : public CKsSingleton<CMsgHandleManager, std::recursive_mutex> {
    friend class CKsSingleton<CMsgHandleManager, std::recursive_mutex>;

public:
    int init();
    int release();

    // A later handler with the same id replaces the earlier one.
    void registerProtobuf2XoltHandle(std::shared_ptr<CProtobuf2XoltHandleBase>& handle);
    void registerXolt2ProtobufHandle(std::shared_ptr<CXolt2ProtobufHandleBase>& handle);

    // App envelope: dispatched by head_data.message_id; unknown ids are
    // dropped without a word.
    void handleProtobufMsg(quelby::protocol::QuelbyMessage& msg);
    // Link frame: dispatched by its msgid; unknown ids are dropped without a
    // word.
    void handleXoltMsg(__xolt_message_head* head);

    // Messages no handler took (App envelopes without a head among them),
    // counted by the thread that dispatches them, readable from any thread.
    const std::atomic<uint64_t>& unhandledProtobuf() const { return m_ullUnhandledProtobuf; }
    const std::atomic<uint64_t>& unhandledXolt() const { return m_ullUnhandledXolt; }

private:
    CMsgHandleManager() = default;
    ~CMsgHandleManager() = default;
    CMsgHandleManager(const CMsgHandleManager&) = delete;
    CMsgHandleManager& operator=(const CMsgHandleManager&) = delete;

    // Hashed: found in a few instructions for every envelope.
    std::unordered_map<uint32_t, std::shared_ptr<CProtobuf2XoltHandleBase>> m_mapProtobuf2XoltHandle;
    std::map<uint32_t, std::shared_ptr<CXolt2ProtobufHandleBase>> m_mapXolt2ProtobufHandle;
    // The link handlers by msgid (0 to 255), null for none.
    std::array<CXolt2ProtobufHandleBase*, 256> m_apXolt2ProtobufIndex{};
    std::atomic<uint64_t> m_ullUnhandledProtobuf{0};
    std::atomic<uint64_t> m_ullUnhandledXolt{0};
};

#endif
