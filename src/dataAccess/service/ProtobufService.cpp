#include "ProtobufService.h"

#include <google/protobuf/arena.h>

#include "KsLog.h"
#include "MsgHandleManager.h"
#include "quelby_protocol.pb.h"

CReflexRegister<ICServiceBase> CProtobufService::ms_reflexRegister("Service.protobuf", &CProtobufService::create);

namespace {

// Arena whose first block is a fixed buffer of the receiving thread: a
// reset keeps that block, so decoding an envelope does not go to the heap
// for the message objects themselves.
class CEnvelopeArena {
public:
    CEnvelopeArena() : m_arena(options(m_block, sizeof(m_block))) {}

    google::protobuf::Arena& arena() { return m_arena; }

private:
    static google::protobuf::ArenaOptions options(char* block, size_t size)
    {
        google::protobuf::ArenaOptions opts;
        opts.initial_block = block;
        opts.initial_block_size = size;
        return opts;
    }

    alignas(16) char m_block[16384];
    google::protobuf::Arena m_arena;
};

} // namespace

void* CProtobufService::create()
{
    return static_cast<ICServiceBase*>(new CProtobufService());
}

int CProtobufService::onReadData(CIpcHandleBase*, int len, const char* data)
{
    static thread_local CEnvelopeArena s_arena;

    // A failed receive reports -1; there is nothing to decode.
    if (len < 0) {
        return 0;
    }
    google::protobuf::Arena& arena = s_arena.arena();
    auto* message = google::protobuf::Arena::CreateMessage<quelby::protocol::QuelbyMessage>(&arena);
    if (message->ParseFromArray(data, len)) {
        CMsgHandleManager::getInstance()->handleProtobufMsg(*message);
    } else {
        KS_LOG_ERROR("Fail to parse protobuf msg, msg len:" << len);
    }
    arena.Reset();
    return 0;
}
