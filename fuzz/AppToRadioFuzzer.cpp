// Arbitrary datagrams into the envelope service, with every App-to-radio
// handler registered. Whatever reaches the radio side must be a sound frame,
// whatever reaches the App an envelope.
#include <memory>

#include "FuzzGateway.h"
#include "ProtobufService.h"

namespace {

// A queue takes 128 pending requests before a push waits for ever.
constexpr size_t kQueueCapacity = 128;

ICServiceBase* envelopeService()
{
    static std::unique_ptr<ICServiceBase> s_service(static_cast<ICServiceBase*>(CProtobufService::create()));
    return s_service.get();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    CFuzzGateway::setUp("fuzz_app_to_radio");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // One parameter get that names the rocker mode more than 128 times
    // fills its queue by itself and the gateway waits, as it is built to.
    if (CFuzzGateway::mostPushesOfOneEnvelope(data, size) > kQueueCapacity) {
        return -1;
    }
    CFuzzGateway::drainPendingQueues();
    envelopeService()->onReadData(nullptr, static_cast<int>(size), reinterpret_cast<const char*>(data));
    return 0;
}
