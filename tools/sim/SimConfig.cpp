#include "SimConfig.h"

#include "dataAccess/client/ClientBase.h"
#include "common/core/KsLog.h"
#include "framework/LumbrixConfig.h"
#include "SimArgs.h"
#include "kit/UdpPeer.h"

namespace {

// config/lumbrix.json
const char* const DEFAULT_RADIO_LISTEN = "127.0.0.1:25101";
const char* const DEFAULT_RADIO_GATEWAY = "127.0.0.1:25100";
const char* const DEFAULT_APP_LISTEN = "127.0.0.1:25201";
const char* const DEFAULT_APP_GATEWAY = "127.0.0.1:25200";

int readConfig(const std::string& path, CSimConfig::ESide side, std::string& listen, std::string& gateway,
               std::string& error)
{
    // The loader reports through the gateway's logger; the simulator says
    // what went wrong itself.
    const int level = CKsLog::getLogLevel();
    CKsLog::setLogLevel(-1);
    CLumbrixConfig config;
    const int ret = config.loadConfig(path);
    CKsLog::setLogLevel(level);
    if (ret != 0) {
        error = "cannot read the gateway configuration '" + path + "'";
        return -1;
    }
    const bool radio = side == CSimConfig::E_SIDE_RADIO;
    const char* protocol = radio ? "xolt" : "protobuf";
    const int serviceId = radio ? E_SERVICE_ID_RC_PROCESSOR : E_SERVICE_ID_APP;
    for (const CServiceEntityInfo& service : config.getServiceEntityInfo()) {
        if (service.m_strProtocolType == protocol) {
            gateway = service.m_strListenIP + ":" + std::to_string(service.m_iListenPort);
        }
    }
    for (const CClientEntityInfo& client : config.getClientEntityInfo()) {
        if (client.m_iServiceId == serviceId) {
            listen = client.m_strRemoteIP + ":" + std::to_string(client.m_iRemotePort);
        }
    }
    if (gateway.empty() || listen.empty()) {
        error = "the gateway configuration '" + path + "' has no enabled \"" + protocol +
                "\" service or no enabled client with serviceId " + std::to_string(serviceId);
        return -1;
    }
    return 0;
}

} // namespace

int CSimConfig::resolve(const CSimArgs& args, ESide side, sockaddr_in& listen, sockaddr_in& gateway, std::string& error)
{
    if (addresses(args.value("config"), side, listen, gateway, error) != 0) {
        return -1;
    }
    if (args.has("listen") && !CUdpPeer::parseAddress(args.value("listen"), listen, error)) {
        error = "listen address: " + error;
        return -1;
    }
    if (args.has("gateway") && !CUdpPeer::parseAddress(args.value("gateway"), gateway, error)) {
        error = "gateway address: " + error;
        return -1;
    }
    return 0;
}

int CSimConfig::addresses(const std::string& configPath, ESide side, sockaddr_in& listen, sockaddr_in& gateway,
                          std::string& error)
{
    const bool radio = side == E_SIDE_RADIO;
    std::string listenText = radio ? DEFAULT_RADIO_LISTEN : DEFAULT_APP_LISTEN;
    std::string gatewayText = radio ? DEFAULT_RADIO_GATEWAY : DEFAULT_APP_GATEWAY;
    if (!configPath.empty()) {
        listenText.clear();
        gatewayText.clear();
        if (readConfig(configPath, side, listenText, gatewayText, error) != 0) {
            return -1;
        }
    }
    if (!CUdpPeer::parseAddress(listenText, listen, error)) {
        error = "listen address: " + error;
        return -1;
    }
    if (!CUdpPeer::parseAddress(gatewayText, gateway, error)) {
        error = "gateway address: " + error;
        return -1;
    }
    return 0;
}
