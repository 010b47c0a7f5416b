#ifndef LUMBRIX_SERVICE_BASE_H
#define LUMBRIX_SERVICE_BASE_H

#include <memory>
#include <string>

#include "framework/EntityInfo.h"

class CEndpointTap;
class CIpcHandleBase;

// A service entity: a listening endpoint of the gateway. Created through
// CReflex<ICServiceBase> under "Service.<protocol type>" and owned by main
// control. start() opens the UDP listener through the IPC framework, whose
// handle map owns the socket handle (m_spIpcHandle stays empty); each
// datagram comes back, on the event-loop thread, to onReadData of the
// concrete entity. Both entities share start() and stop() from here.
class ICServiceBase {
public:
    virtual ~ICServiceBase() = default;

    // Socket types 0 and 2 open a UDP listener on the record's address;
    // any other type (a TCP service among them) is accepted and opens
    // nothing. 0, or -1 when the listener cannot be opened.
    virtual int start(const CServiceEntityInfo& info);
    // Logs the closing; the socket itself is left open.
    virtual int stop();
    virtual int onReadData(CIpcHandleBase* handle, int len, const char* data);

    // The counters and recording of this service, or null when both are off.
    CEndpointTap* tap() const { return m_pTap; }

protected:
    // Adds what the service counts of its own to its counter line.
    virtual void addCounters(CEndpointTap& tap);

    std::shared_ptr<CIpcHandleBase> m_spIpcHandle;
    int m_iSocketType = -1;
    std::string m_strListenIp;
    int m_iListenPort = -1;
    CEndpointTap* m_pTap = nullptr;
};

#endif
