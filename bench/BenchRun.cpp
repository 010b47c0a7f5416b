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
// bounded in count and time. --help lists the options.
//
// The load generator polls its socket without sleeping unless
// --blocking-load is given (then the process under test also pays for
// waking it up, which penalises whichever is slower).
// --subjects runs only some of them (for profiling one, or "count" alone for
// the instruction count); the targets checked are those of what was
// measured.
// --callgrind-dir keeps the callgrind output of every counted run in its
// directory, made when missing (callgrind.out.gateway.radio-to-App and the
// like), for callgrind_annotate.

#include <sched.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <sstream>
#include <vector>

#include "kit/ChildProcess.h"
#include "kit/TempDir.h"
#include "kit/UdpPeer.h"
#include "LoadGenerator.h"

namespace {

// What make bench runs; the defaults are its figures.
struct TBenchOptions {
    std::string gateway;
    std::string relay;
    unsigned long long count = 500000;
    unsigned long long latencyCount = 20000;
    unsigned long long warmup = 20000;
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
    unsigned long long countMessages = 20000;
    // Where the callgrind output of each counted run is kept (for
    // callgrind_annotate); empty: not kept.
    std::string callgrindDir;
};

// The options: name, what its value is (nullptr: none), what it sets.
const struct {
    const char* name;
    const char* value;
    std::function<void(TBenchOptions&, const char*)> set;
} OPTIONS[] = {
    {"--gateway", "PATH", [](TBenchOptions& o, const char* v) { o.gateway = v; }},
    {"--relay", "PATH", [](TBenchOptions& o, const char* v) { o.relay = v; }},
    {"--count", "N", [](TBenchOptions& o, const char* v) { o.count = strtoull(v, nullptr, 10); }},
    {"--latency-count", "M", [](TBenchOptions& o, const char* v) { o.latencyCount = strtoull(v, nullptr, 10); }},
    {"--window", "W", [](TBenchOptions& o, const char* v) { o.window = atoi(v); }},
    {"--rounds", "R", [](TBenchOptions& o, const char* v) { o.rounds = atoi(v); }},
    {"--seconds", "S", [](TBenchOptions& o, const char* v) { o.seconds = atof(v); }},
    {"--gateway-cpu", "C", [](TBenchOptions& o, const char* v) { o.gatewayCpu = atoi(v); }},
    {"--load-cpu", "C", [](TBenchOptions& o, const char* v) { o.loadCpu = atoi(v); }},
    {"--subjects", "relay,error,info,plain,count", [](TBenchOptions& o, const char* v) { o.subjects = v; }},
    {"--valgrind", "PATH", [](TBenchOptions& o, const char* v) { o.valgrind = v; }},
    {"--callgrind-dir", "DIR", [](TBenchOptions& o, const char* v) { o.callgrindDir = v; }},
    {"--blocking-load", nullptr, [](TBenchOptions& o, const char*) { o.blockingLoad = true; }},
    {"--check", nullptr, [](TBenchOptions& o, const char*) { o.check = true; }},
};

// A process under test, in the order they run each round.
struct TSubject {
    const char* key;   // in --subjects
    const char* name;  // in the output
    const char* level; // the gateway's log level; nullptr: a relay
    bool plain;        // the relay without epoll
    double minRatio;   // a gateway's target: msg/s at least this over the relay's
    // Counted under callgrind ("count"), into callgrind.out.<counted>.*;
    // nullptr: not counted.
    const char* counted;
};

const TSubject SUBJECTS[] = {
    {"relay", "reference relay", nullptr, false, 0, "relay"},
    {"error", "gateway, level Error", "Error", false, 0.93, "gateway"},
    {"info", "gateway, level Info", "Info", false, 0.88, nullptr},
    {"plain", "plain recvfrom/sendto relay", nullptr, true, 0, nullptr},
};
const TSubject& RELAY = SUBJECTS[0];

// The paths, by EBenchPath: their names in the output and in the callgrind
// output files, and the gateway's target of instructions per message.
const struct {
    EBenchPath path;
    const char* name;
    const char* file;
    double maxInstructions;
} PATHS[] = {
    {E_BENCH_PATH_RADIO_TO_APP, "radio->App", "radio-to-App", 1500},
    {E_BENCH_PATH_APP_TO_RADIO, "App->radio", "App-to-radio", 2000},
};

// The figures of one subject on one path in one round, NaN where it has no
// such figure: msg/s at the full window and its ratio to the relay's of the
// same round; CPU time of the process under test per message (us) and the
// relay's over it; the share of the run it spent on its CPU (%); round trips
// p50 and p99 at the full window and at 1 in flight (us), and that p50 less
// the relay's; a gateway's peak resident memory after its last run (MiB);
// the user-space instructions per message, counted (in round 0).
enum EFigure { RATE, RATIO, CPU, CPU_RATIO, BUSY, P50, P99, P50_ONE, P99_ONE, DP50_ONE, RSS, INSTRUCTIONS, FIGURES };
using TFigures = std::array<double, FIGURES>;
using TRounds = std::map<int, TFigures>;

// The columns of the table.
const struct {
    const char* heading;
    int width;
    const char* format;
    EFigure figure;
} COLUMNS[] = {
    {"msg/s", 7, "%.0f", RATE},        {"ratio", 5, "%.2f", RATIO},      {"CPU/msg", 7, "%.2f", CPU},
    {"CPU r", 5, "%.2f", CPU_RATIO},   {"busy", 4, "%.0f%%", BUSY},      {"p50", 6, "%.1f", P50},
    {"p99", 6, "%.1f", P99},           {"p50(1)", 6, "%.1f", P50_ONE},   {"p99(1)", 6, "%.1f", P99_ONE},
    {"dp50(1)", 7, "%+.1f", DP50_ONE}, {"peak RSS", 8, "%.2f MiB", RSS}, {"instr", 5, "%.0f", INSTRUCTIONS},
};

// The gateway's configuration: both services on loopback, both clients (the
// radio side and the App) aimed at the load generator, the log in a file of
// its own (the keys left out have their defaults: entries enabled, eight
// files of 512 KiB, no external log).
const char* const GATEWAY_CONFIG = R"({"serviceEntity": [
 {"socketType": 2, "protocolType": "xolt", "listenIp": "127.0.0.1", "listenPort": %u},
 {"socketType": 2, "protocolType": "protobuf", "listenIp": "127.0.0.1", "listenPort": %u}],
 "clientEntity": [
 {"serviceName": "transmit", "serviceId": 2, "socketType": "udp", "remoteIp": "127.0.0.1", "remotePort": %u},
 {"serviceName": "app", "serviceId": 0, "socketType": "udp", "remoteIp": "127.0.0.1", "remotePort": %u}],
 "log": {"level": "%s", "file": "%s"}}
)";

// A figure over the rounds: its median, of the peak RSS the largest; NaN
// when no round has it.
double summary(const TRounds& rounds, EFigure figure)
{
    std::vector<double> v;
    for (const auto& round : rounds) {
        if (!std::isnan(round.second[figure])) {
            v.push_back(round.second[figure]);
        }
    }
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n == 0 ? NAN : figure == RSS ? v.back() : n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// A line of the table: a subject's figures on a path over the rounds, or
// without rounds the headings.
void printRow(const char* subject, const char* path, const TRounds& rounds)
{
    printf("%-28s %-10s", subject, path);
    for (const auto& column : COLUMNS) {
        char text[32] = "-";
        const double value = summary(rounds, column.figure);
        if (!std::isnan(value)) {
            snprintf(text, sizeof(text), column.format, value);
        }
        printf(" %*s", column.width, rounds.empty() ? column.heading : text);
    }
    printf("\n");
}

// What follows ": " on the first line of a file that starts with key; ""
// when there is none.
std::string lineValue(const std::string& path, const std::string& key)
{
    const std::string text = "\n" + readFile(path);
    const size_t at = text.find("\n" + key);
    const size_t colon = text.find(": ", at);
    return at == std::string::npos || colon == std::string::npos
               ? ""
               : text.substr(colon + 2, text.find('\n', colon) - colon - 2);
}

// The 1, 5 and 15 minute load averages.
std::string loadAverage()
{
    std::istringstream in(readFile("/proc/loadavg"));
    std::string one, five, fifteen;
    in >> one >> five >> fifteen;
    return one + " " + five + " " + fifteen;
}

// One make bench: the rounds, the table, the instruction count and the
// verdicts. It owns the load generator and the temporary directory of the
// gateway's configurations and logs, and starts and ends every process
// under test itself.
class CBenchRun {
public:
    explicit CBenchRun(const TBenchOptions& options) : m_opt(options), m_load(!options.blockingLoad) {}

    // 0, 1 when a measurement failed, 3 when a target was missed and
    // --check asks for it.
    int run()
    {
        if (m_dir.path().empty() || m_load.port() == 0) {
            fprintf(stderr, "cannot set up the load generator\n");
            return 1;
        }
        utsname host = {};
        uname(&host);
        printf("Lumbrix benchmark\nmachine: %s, %ld CPUs online, %s %s %s\n"
               "process under test on CPU %d, load generator on CPU %d%s, %s\n"
               "per path: %llu warm-up, %llu at %d in flight, %llu at 1 in flight; %d round(s)\n",
               lineValue("/proc/cpuinfo", "model name").c_str(), sysconf(_SC_NPROCESSORS_ONLN), host.sysname,
               host.release, host.machine, m_opt.gatewayCpu, m_opt.loadCpu,
               m_opt.gatewayCpu == m_opt.loadCpu ? " (one CPU only: figures are not comparable)" : "",
               m_opt.blockingLoad ? "blocking in its receive" : "polling its socket", m_opt.warmup, m_opt.count,
               m_opt.window, m_opt.latencyCount, m_opt.rounds);

        const bool clocked =
            std::any_of(std::begin(SUBJECTS), std::end(SUBJECTS), [this](const auto& s) { return wanted(s.key); });
        for (int round = 1; clocked && round <= m_opt.rounds; ++round) {
            printf("\nround %d of %d (load average %s)\n", round, m_opt.rounds, loadAverage().c_str());
            printRow("subject", "path", {});
            for (const TSubject& subject : SUBJECTS) {
                if (wanted(subject.key)) {
                    measure(subject, round);
                }
            }
        }
        if (wanted("count")) {
            printf("\nUser-space instructions per message (callgrind: %llu at %d in flight less a run without)\n",
                   m_opt.countMessages, m_opt.window);
            for (const TSubject& s : SUBJECTS) {
                const double idle = s.counted != nullptr ? countRun(s, E_BENCH_PATH_RADIO_TO_APP, 0, "idle") : NAN;
                for (int i = 0; i < 2 && !std::isnan(idle); ++i) {
                    const double total = countRun(s, PATHS[i].path, m_opt.countMessages, PATHS[i].file);
                    TFigures& f = m_figures[{&s, PATHS[i].path}][0];
                    f.fill(NAN);
                    f[INSTRUCTIONS] = (total - idle) / static_cast<double>(m_opt.countMessages);
                    printf("  %-28s %-10s %6.0f  (%.0f instructions, %.0f without traffic)\n", s.name, PATHS[i].name,
                           f[INSTRUCTIONS], total, idle);
                }
            }
        }
        if (clocked) {
            printf("\nMedians over %d round(s); ratios against the relay of each round; (1): at 1 in flight\n",
                   m_opt.rounds);
            printRow("subject", "path", {});
            for (const auto& row : m_figures) {
                printRow(row.first.first->name, PATHS[row.first.second].name, row.second);
            }
        }
        if (m_minBusy < 90) {
            printf("\nSome runs kept the process under test on its CPU only %.0f%% of the time: something else ran on "
                   "one of the two CPUs, and the msg/s ratios are unreliable (the CPU ratios much less so). Run again "
                   "on a quiet machine.\n",
                   m_minBusy);
        }
        const bool met = checkTargets();
        printf("\nload average at the end: %s\n", loadAverage().c_str());
        if (m_failures > 0) {
            printf("%d measurement(s) failed or were incomplete\n", m_failures);
            return 1;
        }
        return m_opt.check && !met ? 3 : 0;
    }

private:
    bool wanted(const char* key) const
    {
        return ("," + m_opt.subjects + ",").find(std::string(",") + key + ",") != std::string::npos;
    }

    // Starts subject on its CPU (through wrapper, when given) and waits up
    // to timeoutMs until it holds its ports; ports[path] is where its inputs
    // go. False on failure.
    bool start(CChildProcess& process, const TSubject& subject, const std::string& wrapper, int timeoutMs,
               uint16_t ports[2])
    {
        const TChildOptions options = {"/dev/null", "", wrapper, m_opt.gatewayCpu};
        ports[E_BENCH_PATH_RADIO_TO_APP] = CUdpPeer::freePort();
        ports[E_BENCH_PATH_APP_TO_RADIO] = subject.level != nullptr ? CUdpPeer::freePort() : ports[0];
        std::vector<std::string> argv = {m_opt.relay};
        char text[2048];
        if (subject.level == nullptr) {
            // Stopped when done; the bound is for a bench that ends without.
            snprintf(text, sizeof(text), "--listen %u --to %u --seconds %d%s", ports[0], m_load.port(),
                     static_cast<int>(6 * m_opt.seconds), subject.plain ? " --plain" : "");
            std::istringstream words(text);
            argv.insert(argv.end(), std::istream_iterator<std::string>(words), {});
        } else {
            argv = {m_opt.gateway, m_dir.file(std::string("lumbrix-") + subject.level + ".json")};
            const std::string log = m_dir.file(std::string("aiService-") + subject.level + ".log");
            snprintf(text, sizeof(text), GATEWAY_CONFIG, ports[0], ports[1], m_load.port(), m_load.port(),
                     subject.level, log.c_str());
            writeFile(argv[1], text);
        }
        if (process.start(argv, options) != 0 ||
            process.holdPorts({ports[0], ports[1]}, timeoutMs) != CChildProcess::E_PORTS_HELD) {
            fprintf(stderr, "cannot start %s %s\n", subject.name, wrapper.c_str());
            ++m_failures;
            return false;
        }
        return true;
    }

    // One round of subject: started, measured on its paths, ended.
    void measure(const TSubject& subject, int round)
    {
        uint16_t ports[2];
        CChildProcess process;
        if (!start(process, subject, "", 5000, ports)) {
            return;
        }
        for (const auto& p : PATHS) {
            m_load.run(p.path, ports[p.path], m_opt.window, m_opt.warmup, m_opt.seconds);
            const unsigned long long cpuBefore = process.cpuTimeNs();
            const TLoadResult full = m_load.run(p.path, ports[p.path], m_opt.window, m_opt.count, m_opt.seconds);
            const double cpuNs = static_cast<double>(process.cpuTimeNs() - cpuBefore);
            const TLoadResult one = m_load.run(p.path, ports[p.path], 1, m_opt.latencyCount, m_opt.seconds);
            if (full.received != m_opt.count || one.received != m_opt.latencyCount) {
                printf("%s, %s: incomplete, %llu of %llu answered, %llu unexpected replies\n", subject.name, p.name,
                       full.received + one.received, full.sent + one.sent, full.unexpected + one.unexpected);
                ++m_failures;
            }
            TFigures& f = m_figures[{&subject, p.path}][round];
            f.fill(NAN);
            f[RATE] = static_cast<double>(full.received) / full.seconds;
            f[CPU] = cpuNs / 1000.0 / static_cast<double>(full.received);
            // Saturated at W in flight unless something else had its CPU (or
            // the load generator's) for part of the run.
            f[BUSY] = 100 * cpuNs / (full.seconds * 1e9);
            f[P50] = full.p50Us;
            f[P99] = full.p99Us;
            f[P50_ONE] = one.p50Us;
            f[P99_ONE] = one.p99Us;
            // The plain relay may outrun the load generator.
            m_minBusy = subject.plain ? m_minBusy : std::min(m_minBusy, f[BUSY]);
            // The relay runs first in a round: the others are taken against it.
            const auto relay = m_figures.find({&RELAY, p.path});
            if (&subject != &RELAY && relay != m_figures.end() && relay->second.count(round) != 0) {
                f[RATIO] = f[RATE] / relay->second[round][RATE];
                f[CPU_RATIO] = relay->second[round][CPU] / f[CPU];
                f[DP50_ONE] = f[P50_ONE] - relay->second[round][P50_ONE];
            }
            if (subject.level != nullptr && p.path == E_BENCH_PATH_APP_TO_RADIO) { // the process's last run
                f[RSS] = static_cast<double>(process.statusKiB("VmHWM")) / 1024;
            }
            printRow(subject.name, p.name, {{round, f}});
        }
    }

    // User-space instructions of one run of subject under callgrind: up,
    // one request per path, then messages requests on path, ended. NaN on
    // failure. The output file is named after the subject and file.
    double countRun(const TSubject& subject, EBenchPath path, unsigned long long messages, const char* file)
    {
        const std::string out = (m_opt.callgrindDir.empty() ? m_dir.path() : m_opt.callgrindDir) + "/callgrind.out." +
                                subject.counted + "." + file;
        unlink(out.c_str());
        // Requests go out once it holds both ports: one sent earlier would be
        // lost. One request per path, so that both paths' first-use costs are
        // in every run; then the traffic. Every run sends the same datagrams: what
        // a message costs depends on its values (their varints). The tag puts
        // the stick values it occupies near the centre, 1024, as in flight.
        // Bounds are generous: under callgrind the process runs some fifty
        // times slower.
        uint16_t ports[2];
        CChildProcess process;
        bool ok =
            start(process, subject, m_opt.valgrind + " --tool=callgrind --callgrind-out-file=" + out, 120000, ports);
        m_load.restart((1024u << 16) | 1024u); // the first tag of every counted run: both halves 1024
        for (const auto& p : PATHS) {
            ok = ok && m_load.run(p.path, ports[p.path], 1, 1, 120, 60000).received == 1;
        }
        const TLoadResult traffic =
            ok ? m_load.run(path, ports[path], m_opt.window, messages, 600, 10000) : TLoadResult();
        ok = ok && traffic.received == messages;
        process.stop(120000);
        const std::string total = ok ? lineValue(out, "totals") : "";
        if (total.empty()) {
            fprintf(stderr, "%s, %s: no instruction count (%llu of %llu requests answered)\n", subject.name,
                    PATHS[path].name, traffic.received, messages);
            ++m_failures;
        }
        return total.empty() ? NAN : strtod(total.c_str(), nullptr);
    }

    // The gateway's targets, each when it was measured. True when all were met.
    bool checkTargets()
    {
        printf("\nTargets (of what was measured):\n");
        bool all = true;
        // Each gateway process handles the warm-up and both loads on both paths.
        const bool million = 2 * (m_opt.warmup + m_opt.count + m_opt.latencyCount) >= 1000000;
        for (const auto& [row, rounds] : m_figures) {
            const struct {
                const char* what;
                double value;
                double target;
                bool atMost;
            } targets[] = {
                {"msg/s ratio", summary(rounds, RATIO), row.first->minRatio, false},
                {"p50 at 1 in flight less the relay's (us)", summary(rounds, DP50_ONE), 2, true},
                {"peak RSS after a million messages (MiB)", million ? summary(rounds, RSS) : NAN, 10, true},
                {"user-space instructions per message", summary(rounds, INSTRUCTIONS),
                 PATHS[row.second].maxInstructions, true},
            };
            for (const auto& t : targets) {
                const bool ok = t.atMost ? t.value <= t.target : t.value >= t.target;
                if (row.first->level != nullptr && !std::isnan(t.value)) {
                    all = all && ok;
                    printf("  [%s] %s, %s: %s %.2f, at %s %g\n", ok ? "met" : "MISSED", row.first->name,
                           PATHS[row.second].name, t.what, t.value, t.atMost ? "most" : "least", t.target);
                }
            }
        }
        return all;
    }

    TBenchOptions m_opt;
    CLoadGenerator m_load;
    CTempDir m_dir;
    std::map<std::pair<const TSubject*, EBenchPath>, TRounds> m_figures; // by round
    int m_failures = 0;
    double m_minBusy = 100; // lowest busy share of a run at the full window, %
};

// The options, one a line; 2 (to stderr), or 0 for --help (to stdout).
int usage(const char* self, FILE* out = stderr)
{
    fprintf(out, "usage: %s --gateway PATH --relay PATH [OPTION]...\n", self);
    for (const auto& option : OPTIONS) {
        fprintf(out, "  %s%s%s\n", option.name, option.value != nullptr ? " " : "",
                option.value != nullptr ? option.value : "");
    }
    return out == stderr ? 2 : 0;
}

} // namespace

int main(int argc, char* argv[])
{
    TBenchOptions opt;
    for (int i = 1; i < argc; ++i) {
        const auto option = std::find_if(std::begin(OPTIONS), std::end(OPTIONS),
                                         [&](const auto& o) { return strcmp(o.name, argv[i]) == 0; });
        const bool help = strcmp(argv[i], "--help") == 0;
        if (help || option == std::end(OPTIONS) || (option->value != nullptr && ++i == argc)) {
            return usage(argv[0], help ? stdout : stderr);
        }
        option->set(opt, argv[i]);
    }
    if (opt.gateway.empty() || opt.relay.empty() || opt.count == 0 || opt.latencyCount == 0 || opt.window < 1 ||
        opt.rounds < 1 || opt.seconds <= 0) {
        return usage(argv[0]);
    }
    if (!opt.callgrindDir.empty() && mkdir(opt.callgrindDir.c_str(), 0755) != 0 && errno != EEXIST) {
        fprintf(stderr, "cannot make %s: %s\n", opt.callgrindDir.c_str(), strerror(errno));
        return 2;
    }
    // The process under test gets the last allowed CPU, the load the first.
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof(set), &set);
    std::vector<int> cpus;
    for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
        if (CPU_ISSET(cpu, &set)) {
            cpus.push_back(cpu);
        }
    }
    opt.loadCpu = opt.loadCpu >= 0 ? opt.loadCpu : cpus.empty() ? 0 : cpus.front();
    opt.gatewayCpu = opt.gatewayCpu >= 0 ? opt.gatewayCpu : cpus.empty() ? 0 : cpus.back();
    CPU_ZERO(&set);
    CPU_SET(opt.loadCpu, &set);
    sched_setaffinity(0, sizeof(set), &set);

    setvbuf(stdout, nullptr, _IOLBF, 0); // progress as it comes, through a pipe too
    CBenchRun bench(opt);
    return bench.run();
}
