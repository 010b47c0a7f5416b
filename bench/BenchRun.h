#ifndef LUMBRIX_BENCH_RUN_H
#define LUMBRIX_BENCH_RUN_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "BenchTraffic.h"
#include "kit/ChildProcess.h"
#include "kit/TempDir.h"
#include "LoadGenerator.h"

// What make bench runs; the defaults are its figures.
struct TBenchOptions {
    std::string gateway;
    std::string relay;
    uint64_t count = 500000;
    uint64_t latencyCount = 20000;
    uint64_t warmup = 20000;
    int window = 32;
    int rounds = 3;
    double seconds = 30;
    int gatewayCpu = -1;
    int loadCpu = -1;
    bool check = false;
    bool blockingLoad = false;
    std::string subjects = "relay,error,info,plain,count";
    // The instruction count ("count"): the relay and the gateway at level
    // Error under this valgrind (searched in PATH), countMessages messages
    // per path.
    std::string valgrind = "valgrind";
    uint64_t countMessages = 20000;
    // Where the callgrind output of each counted run is kept (for
    // callgrind_annotate); empty: not kept.
    std::string callgrindDir;
};

// A process under test ready to start: its command line and the ports the
// inputs of each path go to.
struct TSubject {
    std::vector<std::string> argv;
    uint16_t ports[2] = {0, 0};
};

// One subject on one path: both loads, over the rounds.
struct TBenchRow {
    std::vector<double> rate;
    std::vector<double> cpuUs;     // CPU time of the process under test per message
    std::vector<double> busy;      // share of the run it spent on its CPU
    std::vector<double> ratio;     // to the relay of the same round and path
    std::vector<double> cpuRatio;  // the relay's CPU/msg over this one's, same round
    std::vector<double> p50Window; // round trips under the full window
    std::vector<double> p99Window;
    std::vector<double> p50One; // round trips at 1 in flight
    std::vector<double> p99One;
    std::vector<double> p50Delta; // p50One minus the relay's, same round
    long peakRssKiB = -1;         // gateway only: largest over the rounds
    uint64_t processMessages = 0; // messages the process had handled then
};

// One make bench: the rounds, the table and the verdicts. It owns the load
// generator and the temporary directory of the gateway's configurations and
// logs, and starts and ends every process under test itself.
class CBenchRun {
public:
    explicit CBenchRun(const TBenchOptions& options) : m_opt(options) {}

    int run();

private:
    // Measures one subject on every path; ports[path] is where its inputs go.
    // Returns the messages sent, or 0 on failure.
    uint64_t measure(const char* subject, const CChildProcess& child, const uint16_t ports[2],
                     bool throughputOnly = false);
    TSubject relay(bool plain);
    // Writes the gateway's configuration for level; an empty argv on failure.
    TSubject gateway(const char* level);
    bool runRelay(bool plain);
    bool runGateway(const char* subject, const char* level);
    // User-space instructions of one run of subject under callgrind: up
    // (holding both ports), one request per path, then messages requests on
    // path, ended. -1 on failure. The output file is named after file.
    double countRun(const TSubject& subject, const char* name, EBenchPath path, uint64_t messages,
                    const std::string& file);
    // Instructions per message of the relay and of the gateway at level
    // Error, each path's run less a run without traffic.
    void countInstructions();
    bool wanted(const char* subject) const
    {
        return ("," + m_opt.subjects + ",").find(std::string(",") + subject + ",") != std::string::npos;
    }
    TChildOptions pinned() const
    {
        TChildOptions options;
        options.cpu = m_opt.gatewayCpu;
        return options;
    }
    void recordRatios();
    void printTable();
    void printInstructions();
    bool checkTargets();

    TBenchOptions m_opt;
    CLoadGenerator m_load;
    CTempDir m_dir;
    std::map<std::string, TBenchRow> m_rows; // subject + path
    // This round's figures, for the ratios.
    std::map<std::string, TLoadResult> m_roundWindow;
    std::map<std::string, TLoadResult> m_roundOne;
    std::map<std::string, double> m_roundCpuUs;
    std::map<std::string, double> m_instructions; // subject + path: per message
    int m_failures = 0;
    double m_minBusy = 1.0; // lowest busy share of any run at full window
    static constexpr double BUSY_WARNING = 0.9;
};

#endif
