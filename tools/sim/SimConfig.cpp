#include "SimConfig.h"

#include "dataAccess/client/ClientBase.h"
#include "common/util/PcapWriter.h"
#include "framework/LumbrixConfig.h"
#include "SimArgs.h"
#include "kit/UdpPeer.h"

namespace {

// config/lumbrix.json: per side, where the gateway's client sends and the
// gateway's service.
const char* const DEFAULTS[][2] = {{"127.0.0.1:25101", "127.0.0.1:25100"}, {"127.0.0.1:25201", "127.0.0.1:25200"}};

int readConfig(const std::string& path, CSimConfig::ESide side, std::string& listen, std::string& gateway,
               std::string& error)
{
    // The loader reports through the gateway's logger, which the simulator
    // keeps silent: it says what went wrong itself.
    CLumbrixConfig config;
    if (config.loadConfig(path) != 0) {
        error = "cannot read the gateway configuration '" + path + "'";
        return -1;
    }
    const bool radio = side == CSimConfig::E_SIDE_RADIO;
    const char* protocol = radio ? "xolt" : "protobuf";
    const int serviceId = radio ? E_SERVICE_ID_RC_PROCESSOR : E_SERVICE_ID_APP;
    listen.clear();
    gateway.clear();
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

// "what address: reason" in error when text is not an address.
bool parseAddress(const std::string& text, const char* what, sockaddr_in& out, std::string& error)
{
    if (!CUdpPeer::parseAddress(text, out, error)) {
        error = std::string(what) + " address: " + error;
        return false;
    }
    return true;
}

} // namespace

int CSimConfig::addresses(const std::string& configPath, ESide side, sockaddr_in& listen, sockaddr_in& gateway,
                          std::string& error)
{
    std::string listenText = DEFAULTS[side][0];
    std::string gatewayText = DEFAULTS[side][1];
    if ((!configPath.empty() && readConfig(configPath, side, listenText, gatewayText, error) != 0) ||
        !parseAddress(listenText, "listen", listen, error) || !parseAddress(gatewayText, "gateway", gateway, error)) {
        return -1;
    }
    return 0;
}

int CSimConfig::open(const CSimArgs& args, ESide side, CUdpPeer& socket, CPcapWriter& capture, sockaddr_in& gateway)
{
    sockaddr_in listen{};
    std::string error;
    if (addresses(args.value("config"), side, listen, gateway, error) != 0 ||
        (args.has("listen") && !parseAddress(args.value("listen"), "listen", listen, error)) ||
        (args.has("gateway") && !parseAddress(args.value("gateway"), "gateway", gateway, error))) {
        return args.fail(error);
    }
    if (args.has("pcap") && capture.open(args.value("pcap")) != 0) {
        return args.fail("cannot write the capture file '" + args.value("pcap") + "'");
    }
    if (socket.bind(listen, error) != 0) {
        return args.fail(error + " (is another simulator listening there?)");
    }
    if (capture.isOpen()) {
        socket.setTap([&capture](const auto&... datagram) { capture.record(datagram...); });
    }
    return 0;
}
