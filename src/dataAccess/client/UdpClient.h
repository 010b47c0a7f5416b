#ifndef LUMBRIX_UDP_CLIENT_H
#define LUMBRIX_UDP_CLIENT_H

#include "dataAccess/client/ClientBase.h"
#include "common/ipc/Reflex.h"

// Client entity that sends each message as one UDP datagram to the peer's
// configured address from a port of the kernel's choice. Registered as
// "Client.udp". It owns its plain CIpcHandleBase; the socket is never
// registered with the event loop, so nothing is read from it.
class CUdpClient : public ICClientBase {
public:
    static void* create();

    // The record's local address is deliberately not used: the socket is
    // always unbound.
    int start(const CClientEntityInfo& info) override;
    // Drops the handle; the socket itself is left as it is.
    int stop() override;
    int sendData(int len, const char* data) override;

private:
    // sendData while counters or recording are on; apart, so that the plain
    // send stays a tail call.
    __attribute__((noinline)) int sendCounted(int len, const char* data);

    static CReflexRegister<ICClientBase> ms_reflexRegister;
};

#endif
