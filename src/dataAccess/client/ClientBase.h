#ifndef LUMBRIX_CLIENT_BASE_H
#define LUMBRIX_CLIENT_BASE_H

#include <memory>

#include "framework/EntityInfo.h"

class CEndpointTap;
class CIpcHandleBase;

// Service ids: the peers a handler can address. Envelopes for the App go to
// E_SERVICE_ID_APP, link frames for the radio side to
// E_SERVICE_ID_RC_PROCESSOR.
enum {
    E_SERVICE_ID_BEGIN = -1,
    E_SERVICE_ID_APP = 0,
    E_SERVICE_ID_AIR_SERVICE_MAIN_CTRL = 1,
    E_SERVICE_ID_RC_PROCESSOR = 2,
    E_SERVICE_ID_AT_SERVICE_RC = 3,
    E_SERVICE_ID_END = 4,
};

// A client entity: the sending end towards one peer service, found by its
// service id. Created through CReflex<ICClientBase> under "Client.<socket
// type>" and owned by CClientEntityManager once started. The entity owns
// its socket handle (null until started and after stop).
class ICClientBase {
public:
    virtual ~ICClientBase() = default;

    virtual int start(const CClientEntityInfo& info) = 0;
    virtual int stop() = 0;
    // Sends len bytes as one message to the peer; 0 or -1.
    virtual int sendData(int len, const char* data) = 0;

    int getServiceId() const { return m_iServiceId; }

protected:
    int m_iServiceId = E_SERVICE_ID_BEGIN;
    std::shared_ptr<CIpcHandleBase> m_spIpcHandle;
    // The counters and recording of this client, or null when both are off.
    CEndpointTap* m_pTap = nullptr;
};

#endif
