#ifndef LUMBRIX_LUMBRIX_MAIN_CTRL_H
#define LUMBRIX_LUMBRIX_MAIN_CTRL_H

#include <memory>
#include <mutex>
#include <vector>

#include "common/core/KsSingleton.h"

class CLumbrixConfig;
class ICServiceBase;

// Main control: loads the configuration, brings up the IPC framework, the
// handler manager and the client manager, then creates every configured
// client and service entity through the factory registry. It owns the
// configuration and the service entities that started; the client manager
// owns the clients. The process has no orderly shutdown: init runs once and
// mainLoop parks the main thread until a signal ends the process.
class CLumbrixMainCtrl : public CKsSingleton<CLumbrixMainCtrl, std::recursive_mutex> {
    friend class CKsSingleton<CLumbrixMainCtrl, std::recursive_mutex>;

public:
    // 0 on success, -1 on a failed stage, -3 when the configuration object
    // could not be created.
    int init(const char* configFile);
    void mainLoop();
    int release();

private:
    CLumbrixMainCtrl() = default;
    ~CLumbrixMainCtrl();

    void startClients();
    void startServices();

    std::shared_ptr<CLumbrixConfig> m_spConfig;
    std::vector<std::shared_ptr<ICServiceBase>> m_vecService;
};

#endif
