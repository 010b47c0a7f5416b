#ifndef LUMBRIX_XOLT_SERVICE_H
#define LUMBRIX_XOLT_SERVICE_H

#include "common/ipc/Reflex.h"
#include "dataAccess/service/ServiceBase.h"

// Listener for link frames from the radio side ("Service.xolt"). Feeds
// every received byte to the frame parser and hands each complete frame to
// the handler manager at once. The parser's state and its output record
// are process-wide, so the gateway runs exactly one such service.
class CXoltService : public ICServiceBase {
public:
    static void* create();

    int onReadData(CIpcHandleBase* handle, int len, const char* data) override;

protected:
    // Frames accepted, and the parser's and the dispatcher's refusals.
    void addCounters(CEndpointTap& tap) override;

private:
    static CReflexRegister<ICServiceBase> ms_reflexRegister;
};

#endif
