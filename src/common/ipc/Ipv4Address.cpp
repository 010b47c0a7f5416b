#include "Ipv4Address.h"

#include <arpa/inet.h>

sockaddr_in ipv4Address(const std::string& ip, uint16_t port)
{
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    inet_aton(ip.c_str(), &addr.sin_addr);
    return addr;
}

std::string ipv4Text(const in_addr& addr)
{
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &addr, text, sizeof(text)) != nullptr ? text : "";
}
