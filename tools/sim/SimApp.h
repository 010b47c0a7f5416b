#ifndef LUMBRIX_SIM_APP_H
#define LUMBRIX_SIM_APP_H

#include <cstdint>
#include <cstdio>
#include <netinet/in.h>

#include "common/util/PcapWriter.h"
#include "kit/UdpPeer.h"
#include "quelby_protocol.pb.h"

class CSimArgs;
struct TAppRequest;

// The App as the gateway meets it: sends one request named on the command
// line to the gateway's protobuf service, listens where the gateway's "app"
// client sends, and prints the request and the answer that carries the
// request's sequence in protobuf text format. Exit code 0 on an answer, 1
// when none came in time, 2 for a bad command line or an unusable address.
// Owns its socket.
class CSimApp {
public:
    static void printHelp(FILE* out);
    // Runs the mode with the words after "app"; returns the exit code.
    int run(int argc, char** argv);

private:
    int configure(CSimArgs& args);
    int sendRequest(const TAppRequest& request);
    // Prints every envelope that arrives until the deadline or the count.
    int listen(int64_t durationMs, int64_t count);
    bool receiveEnvelope(int timeoutMs, quelby::protocol::QuelbyMessage& out);

    CUdpPeer m_socket;
    CPcapWriter m_capture;
    sockaddr_in m_gateway{};
    int64_t m_iSequence = 0;
    int64_t m_iTimeoutMs = 0;
    int64_t m_iFollowMs = 0;
    int64_t m_iHeadType = 0;
};

#endif
