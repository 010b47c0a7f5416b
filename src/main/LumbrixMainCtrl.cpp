#include "main/LumbrixMainCtrl.h"

#include <new>

#include "dataAccess/client/ClientBase.h"
#include "dataAccess/client/ClientEntityManager.h"
#include "common/ipc/IpcFramework.h"
#include "common/core/KsLog.h"
#include "common/util/KsTime.h"
#include "framework/LumbrixConfig.h"
#include "msgHandle/MsgHandleManager.h"
#include "framework/RecorderConfig.h"
#include "common/ipc/Reflex.h"
#include "dataAccess/service/ServiceBase.h"
#include "framework/TrafficRecorder.h"

namespace {

// A new object of the class registered under exactly key, or null.
template <typename T>
T* createByKey(const std::string& key)
{
    FuncCreator creator = CReflex<T>::findCreator(key);
    return creator == nullptr ? nullptr : static_cast<T*>(creator());
}

} // namespace

CLumbrixMainCtrl::~CLumbrixMainCtrl()
{
    // The services go last-created first, then the configuration.
    while (!m_vecService.empty()) {
        m_vecService.pop_back();
    }
    m_spConfig.reset();
}

int CLumbrixMainCtrl::init(const char* configFile)
{
    m_spConfig = std::shared_ptr<CLumbrixConfig>(new (std::nothrow) CLumbrixConfig());
    if (!m_spConfig) {
        KS_LOG_ERROR("Fail to allocate memory for ai service config object.");
        return -3;
    }
    const std::string path = configFile == nullptr ? "" : configFile;
    if (m_spConfig->loadConfig(path) != 0) {
        KS_LOG_ERROR("Fail to load ai service config file " << path);
        return -1;
    }
    // Recording and counters, when asked for, see every endpoint from its
    // start.
    CRecorderConfig recorder;
    recorder.load(path);
    CTrafficRecorder::getInstance()->start(recorder);

    CIpcFramework* framework = CIpcFramework::getInstance();
    if (framework == nullptr || framework->init() != 0) {
        KS_LOG_ERROR("Fail to init ipc framework.");
        return -1;
    }
    CMsgHandleManager* handles = CMsgHandleManager::getInstance();
    if (handles == nullptr || handles->init() != 0) {
        KS_LOG_ERROR("Fail to init msg handles.");
        return -1;
    }
    CClientEntityManager* clients = CClientEntityManager::getInstance();
    if (clients == nullptr || clients->init() != 0) {
        KS_LOG_ERROR("Fail to init client entity manager.");
        return -1;
    }

    m_vecService.reserve(m_spConfig->getClientEntityInfo().size());
    startClients();

    m_vecService.reserve(m_spConfig->getServiceEntityInfo().size());
    if (m_spConfig->getServiceEntityInfo().empty()) {
        return 0;
    }
    startServices();
    return 0;
}

void CLumbrixMainCtrl::startClients()
{
    for (const CClientEntityInfo& info : m_spConfig->getClientEntityInfo()) {
        ICClientBase* client = createByKey<ICClientBase>("Client." + info.m_strSocketType);
        if (client == nullptr) {
            KS_LOG_ERROR("Fail to allocate memory for client entity, name:" << info.m_strServiceName);
            continue;
        }
        if (client->start(info) != 0) {
            // The client path reports with the service wording on purpose.
            KS_LOG_ERROR("Fail to start service entity, name:" << info.m_strServiceName);
            delete client;
            continue;
        }
        CClientEntityManager::getInstance()->addClientEntity(std::shared_ptr<ICClientBase>(client));
    }
}

void CLumbrixMainCtrl::startServices()
{
    for (const CServiceEntityInfo& info : m_spConfig->getServiceEntityInfo()) {
        ICServiceBase* service = createByKey<ICServiceBase>("Service." + info.m_strProtocolType);
        if (service == nullptr) {
            KS_LOG_ERROR("Fail to allocate memory for service entity, name:" << info.m_strProtocolType);
            continue;
        }
        if (service->start(info) != 0) {
            KS_LOG_ERROR("Fail to start service entity, name:" << info.m_strProtocolType);
            delete service;
            continue;
        }
        m_vecService.push_back(std::shared_ptr<ICServiceBase>(service));
    }
}

void CLumbrixMainCtrl::mainLoop()
{
    while (true) {
        CKsTime::sleep(30);
    }
}

int CLumbrixMainCtrl::release()
{
    return 0;
}
