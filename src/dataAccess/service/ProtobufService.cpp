#include "dataAccess/service/ProtobufService.h"

#include "framework/EndpointTap.h"
#include "common/core/KsLog.h"
#include "msgHandle/MsgHandleManager.h"
#include "quelby_protocol.pb.h"

#include <google/protobuf/arena.h>

CReflexRegister<ICServiceBase> CProtobufService::ms_reflexRegister("Service.protobuf", &CProtobufService::create);

void* CProtobufService::create()
{
    return static_cast<ICServiceBase*>(new CProtobufService());
}

namespace {

// Envelopes are decoded into an arena that starts on a fixed block of the
// receiving thread and is reset after each message: a datagram's header,
// data and strings are carved from the block, not taken from the heap (a
// generated message's Clear() would delete and recreate them each time).
// An envelope that outgrows the block gets more from the heap, which the
// next reset returns.
constexpr size_t ARENA_BLOCK_SIZE = 8192;

google::protobuf::ArenaOptions arenaOptions(char* block)
{
    google::protobuf::ArenaOptions options;
    options.initial_block = block;
    options.initial_block_size = ARENA_BLOCK_SIZE;
    return options;
}

} // namespace

int CProtobufService::onReadData(CIpcHandleBase*, int len, const char* data)
{
    alignas(8) static thread_local char s_block[ARENA_BLOCK_SIZE];
    static thread_local google::protobuf::Arena s_arena(arenaOptions(s_block));

    // A failed receive reports -1; there is nothing to decode.
    if (len < 0) {
        return 0;
    }
    quelby::protocol::QuelbyMessage* message =
        google::protobuf::Arena::CreateMessage<quelby::protocol::QuelbyMessage>(&s_arena);
    if (message->ParseFromArray(data, len)) {
        if (m_pTap != nullptr) {
            m_pTap->countAccepted();
        }
        CMsgHandleManager::getInstance()->handleProtobufMsg(*message);
    } else {
        if (m_pTap != nullptr) {
            m_pTap->countRejected();
        }
        KS_LOG_ERROR("Fail to parse protobuf msg, msg len:" << len);
    }
    s_arena.Reset();
    return 0;
}

void CProtobufService::addCounters(CEndpointTap& tap)
{
    tap.addCounter("envelopesAccepted", tap.accepted());
    tap.addCounter("unparsed", tap.rejected());
    tap.addCounter("noHandler", CMsgHandleManager::getInstance()->unhandledProtobuf());
}
