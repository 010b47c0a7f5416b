#ifndef LUMBRIX_IPV4_ADDRESS_H
#define LUMBRIX_IPV4_ADDRESS_H

#include <netinet/in.h>

#include <cstdint>
#include <string>

// IPv4 socket addresses of the IPC framework. Addresses are kept in their
// binary form, resolved once from the configured text; text is made only
// for log lines and accessors.

// The host ip (dotted text, as inet_aton reads it); 0.0.0.0 when the text
// is not an address.
in_addr ipv4Host(const std::string& ip);

// AF_INET address of the host ip and port.
sockaddr_in ipv4Address(const std::string& ip, uint16_t port);

// Dotted text of addr, as inet_ntoa gives it.
std::string ipv4Text(const in_addr& addr);

#endif
