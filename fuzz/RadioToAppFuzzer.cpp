// Arbitrary datagrams into the link service, with every radio-to-App handler
// registered. Whatever reaches the App must be an envelope.
#include <memory>

#include "FuzzGateway.h"
#include "GlobalStatus.h"
#include "XoltService.h"
#include "quelby_protocol.pb.h"

namespace {

// A frame is at least 10 bytes, so a piece this long completes at most 120
// frames (one more if a frame began in the piece before): fewer rocker-mode
// answers than the queue they pop is kept filled with.
constexpr size_t kPieceLen = 1200;
constexpr size_t kPendingRockerGets = 127;

ICServiceBase* linkService()
{
    static std::unique_ptr<ICServiceBase> s_service(static_cast<ICServiceBase*>(CXoltService::create()));
    return s_service.get();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    CFuzzGateway::setUp("fuzz_radio_to_app");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CFuzzGateway::resetLinkParser();
    CFuzzGateway::drainPendingQueues();
    // The input goes in as consecutive datagrams; a frame may span them.
    for (size_t offset = 0; offset < size; offset += kPieceLen) {
        // A rocker-mode answer pops a pending get without looking: keep one
        // waiting for every answer this piece can hold.
        CFuzzGateway::keepPending(quelby::protocol::PARAM_GET_MSG, kPendingRockerGets);
        const size_t len = size - offset < kPieceLen ? size - offset : kPieceLen;
        linkService()->onReadData(nullptr, static_cast<int>(len), reinterpret_cast<const char*>(data + offset));
    }
    return 0;
}
