#ifndef LUMBRIX_IPC_DRIVER_BASE_H
#define LUMBRIX_IPC_DRIVER_BASE_H

#include <netinet/in.h>

#include <memory>

#include "common/ipc/IpcDefine.h"

class CIpcHandleBase;

// A socket driver: serves the handles of one IPC type on the event-loop
// thread, reading their sockets and calling their callbacks. Drivers are
// process-wide singletons that register themselves in the factory registry
// under "IpcEventHandle." plus their kind.
class CIpcDriverBase {
public:
    virtual ~CIpcDriverBase() = default;
    // The EIpcType this driver serves.
    virtual int getDriverType() = 0;
    // eventType is an EEventType value.
    virtual int handleEvent(int eventType, CIpcHandleBase* handle) = 0;
    // Sends len bytes on sockfd, to `to` where the socket is not connected.
    // 0 when all of them went out, else -1 (logged by the driver).
    virtual int sendData(int sockfd, const char* data, int len, const sockaddr_in& to) = 0;
};

typedef std::shared_ptr<CIpcDriverBase> SPIpcDriverBase;

#endif
