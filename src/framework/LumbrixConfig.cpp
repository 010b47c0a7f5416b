#include "framework/LumbrixConfig.h"

#include "framework/ConfigReader.h"
#include "common/core/JsonNode.h"
#include "common/core/KsLog.h"

namespace {

// "enable" is optional (default true) but must be a boolean.
// Returns 1 when the entry is disabled, 0 when enabled, -1 on a wrong type.
int readEnable(CJsonNode& entry)
{
    bool enable = true;
    if (CConfigReader::readOptional(entry, "enable", enable) != 0) {
        return -1;
    }
    return enable ? 0 : 1;
}

int readServiceEntry(CJsonNode& entry, CServiceEntityInfo& info)
{
    int ret = readEnable(entry);
    if (ret != 0) {
        return ret;
    }
    if (CConfigReader::readRequired(entry, "socketType", info.m_iSocketType) != 0 ||
        CConfigReader::readRequired(entry, "protocolType", info.m_strProtocolType) != 0 ||
        CConfigReader::readRequired(entry, "listenIp", info.m_strListenIP) != 0 ||
        CConfigReader::readRequired(entry, "listenPort", info.m_iListenPort) != 0) {
        return -1;
    }
    return 0;
}

int readClientEntry(CJsonNode& entry, CClientEntityInfo& info)
{
    int ret = readEnable(entry);
    if (ret != 0) {
        return ret;
    }
    if (CConfigReader::readRequired(entry, "serviceName", info.m_strServiceName) != 0 ||
        CConfigReader::readRequired(entry, "serviceId", info.m_iServiceId) != 0 ||
        CConfigReader::readRequired(entry, "socketType", info.m_strSocketType) != 0 ||
        CConfigReader::readRequired(entry, "remoteIp", info.m_strRemoteIP) != 0 ||
        CConfigReader::readRequired(entry, "remotePort", info.m_iRemotePort) != 0 ||
        CConfigReader::readOptional(entry, "localIp", info.m_strLocalIP) != 0 ||
        CConfigReader::readOptional(entry, "localPort", info.m_iLocalPort) != 0) {
        return -1;
    }
    return 0;
}

} // namespace

template <typename Info>
int CLumbrixConfig::loadArray(CJsonNode& root, const std::string& key, std::list<Info>& out,
                              int (*readEntry)(CJsonNode&, Info&))
{
    if (!root.isObject()) {
        CConfigReader::logNotObject();
        return -1;
    }
    CJsonNode array;
    root.getChildNode(key, array);
    if (!array.isArray()) {
        KS_LOG_ERROR("When get array by key, the value type is invalid. key:" << key);
        return -1;
    }
    const int count = static_cast<int>(array.size());
    for (int i = 0; i < count; ++i) {
        CJsonNode entry;
        array.getChildNode(i, entry);
        if (!entry.isObject()) {
            CConfigReader::logNotObject();
            return -1;
        }
        Info info;
        int ret = readEntry(entry, info);
        if (ret < 0) {
            return -1;
        }
        if (ret == 0) {
            out.push_back(info);
        }
    }
    return 0;
}

int CLumbrixConfig::loadConfig(const std::string& path)
{
    CJsonNode root;
    if (CConfigReader::load(path, root) != 0) {
        return -1;
    }
    if (root.isKeyExist("serviceEntity") &&
        loadArray(root, "serviceEntity", m_listServiceEntityInfo, readServiceEntry) != 0) {
        return -1;
    }
    if (!root.isKeyExist("clientEntity")) {
        return 0;
    }
    return loadArray(root, "clientEntity", m_listClientEntityInfo, readClientEntry);
}
