#ifndef LUMBRIX_IPC_HANDLE_WRAPPER_H
#define LUMBRIX_IPC_HANDLE_WRAPPER_H

#include <memory>
#include <string>

#include "common/ipc/IpcHandleBase.h"

// Shares ownership of one handle and forwards sends to it.
class CIpcHandleWrapper {
public:
    CIpcHandleWrapper() = default;
    explicit CIpcHandleWrapper(std::shared_ptr<CIpcHandleBase> handle);

    std::shared_ptr<CIpcHandleBase> getHandleBase() const { return m_spHandle; }

    // -1 when the wrapper holds no handle.
    int sendData(const char* data, int len);
    int sendData(std::string& data);

private:
    std::shared_ptr<CIpcHandleBase> m_spHandle;
};

#endif
