#ifndef LUMBRIX_SIM_CONFIG_H
#define LUMBRIX_SIM_CONFIG_H

#include <netinet/in.h>
#include <string>

class CSimArgs;

// Where a simulator listens and where it sends. Defaults are those of
// config/lumbrix.json; --config takes them from a gateway configuration file
// (read by the gateway's own loader), and --listen / --gateway override
// either. Stateless.
class CSimConfig {
public:
    enum ESide {
        E_SIDE_RADIO, // listens as the "transmit" client's peer, sends to the "xolt" service
        E_SIDE_APP,   // listens as the "app" client's peer, sends to the "protobuf" service
    };

    // 0, or -1 with the reason in error.
    static int resolve(const CSimArgs& args, ESide side, sockaddr_in& listen, sockaddr_in& gateway, std::string& error);
    // The two addresses of one side in the gateway configuration file
    // configPath, or the defaults when configPath is empty. 0, or -1 with
    // the reason in error.
    static int addresses(const std::string& configPath, ESide side, sockaddr_in& listen, sockaddr_in& gateway,
                         std::string& error);
};

#endif
