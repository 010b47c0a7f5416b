// lumbrix-sim: the radio side and the App as the gateway meets them, for
// integration and debugging on a machine without either.
#include <cstdio>
#include <cstring>

#include "KsLog.h"
#include "LumbrixVersion.h"
#include "SimApp.h"
#include "SimCounters.h"
#include "SimRadio.h"
#include "SimStop.h"
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
            "       lumbrix-sim counters LOG...                 the gateway's counter lines as tables of rates\n"
            "       lumbrix-sim MODE --help                     the options and commands of a mode\n"
            "       lumbrix-sim --version                       the build's version\n"
            "\n"
            "Both modes default to the addresses of config/lumbrix.json; --config FILE takes\n"
            "them from another gateway configuration.\n");
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
