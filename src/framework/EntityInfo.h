#ifndef LUMBRIX_ENTITY_INFO_H
#define LUMBRIX_ENTITY_INFO_H

#include <cstdint>
#include <string>

// One enabled "serviceEntity" record of the configuration file: a listening
// endpoint. socketType is an integer here (an EIpcType value).
class CServiceEntityInfo {
public:
    int32_t m_iSocketType = -1;
    std::string m_strProtocolType;
    std::string m_strListenIP;
    int32_t m_iListenPort = -1;
};

// One enabled "clientEntity" record: a sending endpoint addressed by service
// id. socketType is a string here (the client factory suffix, e.g. "udp").
class CClientEntityInfo {
public:
    std::string m_strServiceName;
    int32_t m_iServiceId = -1;
    std::string m_strSocketType;
    std::string m_strRemoteIP;
    int32_t m_iRemotePort = -1;
    std::string m_strLocalIP;
    int32_t m_iLocalPort = -1;
};

#endif
