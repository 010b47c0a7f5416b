// lumbrix-sim: the radio side and the App as the gateway meets them, for
// integration and debugging on a machine without either.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/core/KsLog.h"
#include "LumbrixVersion.h"
#include "SimApp.h"
#include "SimCounters.h"
#include "SimRadio.h"
#include "SimStop.h"
#include "kit/UdpPeer.h"
#if LUMBRIX_SIM_REPLAY
#include "SimReplay.h"
#endif

namespace {

void printHelp(FILE* out)
{
    fprintf(out,
            "usage: lumbrix-sim radio [options]                 stand in for the radio side\n"
            "       lumbrix-sim app [options] COMMAND [ARGS]    send one App request, print the answer\n"
            "       lumbrix-sim replay [options] CAPTURE...     send a capture's traffic to a gateway again\n"
            "       lumbrix-sim ports free N | held PORT... | wait PORT...\n"
            "                                                   free ports on 127.0.0.1, or whether they are held\n"
            "       lumbrix-sim counters LOG...                 the gateway's counter lines as tables of rates\n"
            "       lumbrix-sim MODE --help                     the options and commands of a mode\n"
            "       lumbrix-sim --version                       the build's version\n"
            "\n"
            "Both modes default to the addresses of config/lumbrix.json; --config FILE takes\n"
            "them from another gateway configuration.\n");
}

// What the scripts that start the gateway ask about ports on 127.0.0.1:
// N free ones (printed on one line), whether every one given is held by a
// process now (exit 0, else 1), or within about 5 s ("wait").
int ports(int argc, char** argv)
{
    const std::string what = argc > 0 ? argv[0] : "";
    if (what == "free" && argc == 2 && atoi(argv[1]) > 0) {
        std::vector<CUdpPeer> peers(static_cast<size_t>(atoi(argv[1]))); // held together: N different ports
        for (CUdpPeer& peer : peers) {
            std::string error;
            peer.bind(CUdpPeer::loopback(0), error);
            printf("%s%u", &peer == &peers.front() ? "" : " ", peer.port());
        }
        printf("\n");
        return 0;
    }
    if ((what != "held" && what != "wait") || argc < 2) {
        fprintf(stderr, "usage: lumbrix-sim ports free N | held PORT... | wait PORT...\n");
        return 2;
    }
    for (int tries = what == "wait" ? 100 : 1; tries > 0; --tries) {
        int held = 1;
        while (held < argc && !CUdpPeer::holders(static_cast<uint16_t>(atoi(argv[held]))).empty()) {
            ++held;
        }
        if (held == argc) {
            return 0;
        }
        usleep(50000);
    }
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    // Lines go out as they are written, also into a file or a pipe.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    // The gateway's own code is linked in; its logger stays silent here.
    CKsLog::setLogLevel(-1);
    CSimStop::install();

    if (argc < 2) {
        printHelp(stderr);
        return 2;
    }
    const char* mode = argv[1];
    if (strcmp(mode, "--help") == 0 || strcmp(mode, "-h") == 0 || strcmp(mode, "help") == 0) {
        printHelp(stdout);
        return 0;
    }
    if (strcmp(mode, "--version") == 0) {
        printf("lumbrix-sim %s\n", LUMBRIX_VERSION);
        return 0;
    }
    if (strcmp(mode, "radio") == 0) {
        CSimRadio radio;
        return radio.run(argc - 2, argv + 2);
    }
    if (strcmp(mode, "app") == 0) {
        CSimApp app;
        return app.run(argc - 2, argv + 2);
    }
    if (strcmp(mode, "ports") == 0) {
        return ports(argc - 2, argv + 2);
    }
    if (strcmp(mode, "counters") == 0) {
        CSimCounters counters;
        return counters.run(argc - 2, argv + 2);
    }
    if (strcmp(mode, "replay") == 0) {
#if LUMBRIX_SIM_REPLAY
        CSimReplay replay;
        return replay.run(argc - 2, argv + 2);
#else
        fprintf(stderr, "lumbrix-sim: this build has no replay mode (it is built without libpcap); "
                        "replay captures with a desk build\n");
        return 2;
#endif
    }
    fprintf(stderr, "lumbrix-sim: unknown mode '%s'\n\n", mode);
    printHelp(stderr);
    return 2;
}
