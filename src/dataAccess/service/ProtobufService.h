#ifndef LUMBRIX_PROTOBUF_SERVICE_H
#define LUMBRIX_PROTOBUF_SERVICE_H

#include "common/ipc/Reflex.h"
#include "dataAccess/service/ServiceBase.h"

// Listener for App envelopes ("Service.protobuf"). Each datagram is exactly
// one serialised QuelbyMessage; a parsed one goes to the handler manager,
// anything else is logged with its length and dropped.
class CProtobufService : public ICServiceBase {
public:
    static void* create();

    int onReadData(CIpcHandleBase* handle, int len, const char* data) override;

protected:
    // Envelopes accepted and refused, and the dispatcher's refusals.
    void addCounters(CEndpointTap& tap) override;

private:
    static CReflexRegister<ICServiceBase> ms_reflexRegister;
};

#endif
