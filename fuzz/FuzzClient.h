#ifndef LUMBRIX_FUZZ_CLIENT_H
#define LUMBRIX_FUZZ_CLIENT_H

#include <cstdint>

#include "ClientBase.h"

// Stands in for a peer of the gateway inside a fuzz target: it owns nothing
// but its service id, and checks every datagram a handler sends through it
// instead of putting it on the wire. What goes to the App (service 0) must
// decode as one envelope; what goes to the radio side (service 2) must be
// one well-formed link frame. A datagram that breaks this aborts the
// process, so libFuzzer keeps the input that caused it.
class CFuzzClient : public ICClientBase {
public:
    explicit CFuzzClient(int serviceId);

    int start(const CClientEntityInfo& info) override;
    int stop() override;
    int sendData(int len, const char* data) override;

    // Datagrams sent through any fuzz client since the process started.
    static uint64_t sentCount() { return ms_ullSent; }

private:
    static uint64_t ms_ullSent;
};

#endif
