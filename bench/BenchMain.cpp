// make bench: the gateway against the physical limit of its shape.
//
// In each round the load generator (this process, pinned to one CPU) drives,
// one after another, the reference relay and the gateway at log level
// "Error" and at "Info" (standard output to /dev/null), each pinned to
// another CPU, on the two high-rate paths: raw stick state radio->App and the
// nest stick relay App->radio. Each path is measured at W datagrams in flight
// (throughput) and at 1 (round trip). Every gateway process handles more
// than a million messages before its peak resident memory is read. The
// table gives the medians over the rounds; ratios are taken against the
// relay of the same round. Then ("count") the relay and the gateway at level
// Error run under callgrind, 20,000 messages per path, and the user-space
// instructions per message are their count less that of a run without
// traffic: a figure that does not move with the machine's load. Every run is
// bounded in count and time.
//
//   lumbrix_bench --gateway PATH --relay PATH [--count N] [--latency-count M]
//                 [--window W] [--rounds R] [--seconds S] [--gateway-cpu C]
//                 [--load-cpu C] [--subjects relay,error,info,plain,count]
//                 [--valgrind PATH] [--callgrind-dir DIR] [--blocking-load] [--check]
//
// The load generator polls its socket without sleeping unless
// --blocking-load is given (then the process under test also pays for
// waking it up, which penalises whichever is slower).
// --subjects runs only some of them (for profiling one, or "count" alone for
// the instruction count); the targets checked are those of the subjects run.
// --callgrind-dir keeps the callgrind output of every counted run there
// (callgrind.out.gateway.radio-to-App and the like), for callgrind_annotate.

#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchRun.h"

namespace {

int usage(const char* self)
{
    fprintf(stderr,
            "usage: %s --gateway PATH --relay PATH [--count N] [--latency-count M] [--window W]\n"
            "          [--rounds R] [--seconds S] [--gateway-cpu C] [--load-cpu C]\n"
            "          [--subjects relay,error,info,plain,count] [--valgrind PATH]\n"
            "          [--callgrind-dir DIR] [--blocking-load] [--check]\n",
            self);
    return 2;
}

// The process under test gets the last allowed CPU, the load the first.
void chooseCpus(TBenchOptions& opt)
{
    cpu_set_t set;
    CPU_ZERO(&set);
    std::vector<int> cpus;
    if (sched_getaffinity(0, sizeof(set), &set) == 0) {
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
            if (CPU_ISSET(cpu, &set)) {
                cpus.push_back(cpu);
            }
        }
    }
    if (cpus.empty()) {
        cpus.push_back(0);
    }
    if (opt.loadCpu < 0) {
        opt.loadCpu = cpus.front();
    }
    if (opt.gatewayCpu < 0) {
        opt.gatewayCpu = cpus.back();
    }
}

} // namespace

int main(int argc, char* argv[])
{
    TBenchOptions opt;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--gateway" && hasValue) {
            opt.gateway = argv[++i];
        } else if (arg == "--relay" && hasValue) {
            opt.relay = argv[++i];
        } else if (arg == "--count" && hasValue) {
            opt.count = strtoull(argv[++i], nullptr, 10);
        } else if (arg == "--latency-count" && hasValue) {
            opt.latencyCount = strtoull(argv[++i], nullptr, 10);
        } else if (arg == "--window" && hasValue) {
            opt.window = atoi(argv[++i]);
        } else if (arg == "--rounds" && hasValue) {
            opt.rounds = atoi(argv[++i]);
        } else if (arg == "--seconds" && hasValue) {
            opt.seconds = atof(argv[++i]);
        } else if (arg == "--gateway-cpu" && hasValue) {
            opt.gatewayCpu = atoi(argv[++i]);
        } else if (arg == "--load-cpu" && hasValue) {
            opt.loadCpu = atoi(argv[++i]);
        } else if (arg == "--subjects" && hasValue) {
            opt.subjects = argv[++i];
        } else if (arg == "--valgrind" && hasValue) {
            opt.valgrind = argv[++i];
        } else if (arg == "--callgrind-dir" && hasValue) {
            opt.callgrindDir = argv[++i];
        } else if (arg == "--blocking-load") {
            opt.blockingLoad = true;
        } else if (arg == "--check") {
            opt.check = true;
        } else {
            return usage(argv[0]);
        }
    }
    if (opt.gateway.empty() || opt.relay.empty() || opt.count == 0 || opt.latencyCount == 0 || opt.window < 1 ||
        opt.rounds < 1 || opt.seconds <= 0) {
        return usage(argv[0]);
    }
    chooseCpus(opt);

    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(opt.loadCpu, &set);
    sched_setaffinity(0, sizeof(set), &set);

    CBenchRun bench(opt);
    return bench.run();
}
