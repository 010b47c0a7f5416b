#include "common/ipc/Ipv4Address.h"

#include <arpa/inet.h>

in_addr ipv4Host(const std::string& ip)
{
    in_addr host = {};
    inet_aton(ip.c_str(), &host);
    return host;
}

sockaddr_in ipv4Address(const std::string& ip, uint16_t port)
{
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr = ipv4Host(ip);
    return addr;
}

std::string ipv4Text(const in_addr& addr)
{
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &addr, text, sizeof(text)) != nullptr ? text : "";
}
