#include "BenchRun.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kit/UdpPeer.h"

namespace {

const EBenchPath PATHS[] = {E_BENCH_PATH_RADIO_TO_APP, E_BENCH_PATH_APP_TO_RADIO};

const char* const SUBJECT_RELAY = "reference relay";
const char* const SUBJECT_PLAIN = "plain recvfrom/sendto relay";
const char* const SUBJECT_ERROR = "gateway, level Error";
const char* const SUBJECT_INFO = "gateway, level Info";

// The first tag of every counted run: both 16-bit halves 1024.
constexpr uint32_t COUNT_FIRST_TAG = (1024u << 16) | 1024u;

double median(std::vector<double> v)
{
    if (v.empty()) {
        return 0;
    }
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

// The first line of a text file, or with a prefix the value (after ": ")
// of the first line that starts with it.
std::string readFirstLine(const char* path, const char* prefix)
{
    FILE* file = fopen(path, "r");
    if (file == nullptr) {
        return "";
    }
    char line[512];
    std::string found;
    while (fgets(line, sizeof(line), file) != nullptr) {
        if (prefix == nullptr || strncmp(line, prefix, strlen(prefix)) == 0) {
            found = line;
            break;
        }
    }
    fclose(file);
    if (!found.empty() && found.back() == '\n') {
        found.pop_back();
    }
    if (prefix != nullptr) {
        const size_t colon = found.find(':');
        found = colon == std::string::npos ? found : found.substr(colon + 2);
    }
    return found;
}

// The 1, 5 and 15 minute load averages.
std::string loadAverage()
{
    const std::string line = readFirstLine("/proc/loadavg", nullptr);
    size_t end = 0;
    for (int field = 0; field < 3 && end != std::string::npos; ++field) {
        end = line.find(' ', end + 1);
    }
    return line.substr(0, end);
}

// The instructions a callgrind output file counts in all; -1 without one.
double callgrindTotal(const std::string& path)
{
    const std::string total = readFirstLine(path.c_str(), "totals:");
    return total.empty() ? -1 : strtod(total.c_str(), nullptr);
}

// The gateway's configuration: both services on loopback, both clients (the
// App and the radio side) aimed at the load generator.
std::string gatewayConfig(uint16_t xoltPort, uint16_t appPort, uint16_t loadPort, const std::string& level,
                          const std::string& logFile)
{
    char text[2048];
    snprintf(text, sizeof(text),
             "{\n"
             "  \"serviceEntity\": [\n"
             "    {\"enable\": true, \"socketType\": 2, \"protocolType\": \"xolt\", \"listenIp\": \"127.0.0.1\", "
             "\"listenPort\": %u},\n"
             "    {\"enable\": true, \"socketType\": 2, \"protocolType\": \"protobuf\", \"listenIp\": \"127.0.0.1\", "
             "\"listenPort\": %u}\n"
             "  ],\n"
             "  \"clientEntity\": [\n"
             "    {\"enable\": true, \"serviceName\": \"transmit\", \"serviceId\": 2, \"socketType\": \"udp\", "
             "\"remoteIp\": \"127.0.0.1\", \"remotePort\": %u},\n"
             "    {\"enable\": true, \"serviceName\": \"app\", \"serviceId\": 0, \"socketType\": \"udp\", "
             "\"remoteIp\": \"127.0.0.1\", \"remotePort\": %u}\n"
             "  ],\n"
             "  \"log\": {\"level\": \"%s\", \"file\": \"%s\", \"fileCnt\": 8, \"logMode\": 0, \"fileSize\": 524288, "
             "\"logExternalEnable\": false}\n"
             "}\n",
             xoltPort, appPort, loadPort, loadPort, level.c_str(), logFile.c_str());
    return text;
}

std::string rowKey(const char* subject, EBenchPath path)
{
    return std::string(subject) + "|" + CBenchTraffic::pathName(path);
}

} // namespace

uint64_t CBenchRun::measure(const char* subject, const CChildProcess& child, const uint16_t ports[2],
                            bool throughputOnly)
{
    uint64_t messages = 0;
    for (EBenchPath path : PATHS) {
        if (throughputOnly && path != E_BENCH_PATH_RADIO_TO_APP) {
            continue;
        }
        if (!m_load.probe(path, ports[path], 5000)) {
            fprintf(stderr, "%s does not answer on %s\n", subject, CBenchTraffic::pathName(path));
            ++m_failures;
            return 0;
        }
        const TLoadResult warm = m_load.run(path, ports[path], m_opt.window, m_opt.warmup, m_opt.seconds);
        m_load.drain(20);
        const unsigned long long cpuBefore = child.cpuTimeNs();
        const TLoadResult full = m_load.run(path, ports[path], m_opt.window, m_opt.count, m_opt.seconds);
        const unsigned long long cpuAfter = child.cpuTimeNs();
        m_load.drain(20);
        const double cpuNs = static_cast<double>(cpuAfter - cpuBefore);
        const double cpuUs = full.received > 0 ? cpuNs / 1000.0 / static_cast<double>(full.received) : 0;
        // Saturated at W in flight unless something else had its CPU (or
        // the load generator's) for part of the run.
        const double busy = full.seconds > 0 ? cpuNs / (full.seconds * 1e9) : 0;
        messages += 1 + warm.sent + full.sent;
        TLoadResult one;
        if (!throughputOnly) {
            one = m_load.run(path, ports[path], 1, m_opt.latencyCount, m_opt.seconds);
            m_load.drain(20);
            messages += one.sent;
        }

        const std::string key = rowKey(subject, path);
        TBenchRow& row = m_rows[key];
        row.rate.push_back(full.rate);
        row.cpuUs.push_back(cpuUs);
        row.busy.push_back(busy);
        if (subject != SUBJECT_PLAIN) { // that one may outrun the load generator
            m_minBusy = std::min(m_minBusy, busy);
        }
        row.p50Window.push_back(full.p50Us);
        row.p99Window.push_back(full.p99Us);
        if (!throughputOnly) {
            row.p50One.push_back(one.p50Us);
            row.p99One.push_back(one.p99Us);
        }
        m_roundWindow[key] = full;
        m_roundOne[key] = one;
        m_roundCpuUs[key] = cpuUs;
        printf("  %-28s %-10s %7.0f msg/s  %4.2f us CPU/msg  busy %3.0f%%  p50 %5.1f us  p99 %6.1f us", subject,
               CBenchTraffic::pathName(path), full.rate, cpuUs, 100 * busy, full.p50Us, full.p99Us);
        if (!throughputOnly) {
            printf("  | 1 in flight: p50 %5.1f us  p99 %6.1f us", one.p50Us, one.p99Us);
        }
        printf("\n");
        const bool complete = full.complete && (throughputOnly || one.complete);
        if (!complete) {
            printf("    incomplete: %llu of %llu answered, %llu lost, %llu unexpected\n",
                   static_cast<unsigned long long>(full.received + one.received),
                   static_cast<unsigned long long>(full.sent + one.sent),
                   static_cast<unsigned long long>(full.lost + one.lost),
                   static_cast<unsigned long long>(full.unexpected + one.unexpected));
            ++m_failures;
        }
        fflush(stdout);
    }
    return messages;
}

TSubject CBenchRun::relay(bool plain)
{
    TSubject subject;
    const uint16_t port = CUdpPeer::freePort();
    const uint64_t planned = 2 * (m_opt.warmup + m_opt.count + m_opt.latencyCount) + 10000;
    subject.argv = {m_opt.relay,
                    "--listen",
                    std::to_string(port),
                    "--to",
                    std::to_string(m_load.port()),
                    "--count",
                    std::to_string(planned),
                    "--seconds",
                    std::to_string(static_cast<int>(6 * m_opt.seconds))};
    if (plain) {
        subject.argv.push_back("--plain");
    }
    subject.ports[E_BENCH_PATH_RADIO_TO_APP] = port;
    subject.ports[E_BENCH_PATH_APP_TO_RADIO] = port;
    return subject;
}

TSubject CBenchRun::gateway(const char* level)
{
    TSubject subject;
    subject.ports[E_BENCH_PATH_RADIO_TO_APP] = CUdpPeer::freePort();
    subject.ports[E_BENCH_PATH_APP_TO_RADIO] = CUdpPeer::freePort();
    const std::string config = m_dir.file(std::string("lumbrix-") + level + ".json");
    if (!writeFile(config,
                   gatewayConfig(subject.ports[E_BENCH_PATH_RADIO_TO_APP], subject.ports[E_BENCH_PATH_APP_TO_RADIO],
                                 m_load.port(), level, m_dir.file(std::string("aiService-") + level + ".log")))) {
        fprintf(stderr, "cannot write %s\n", config.c_str());
        ++m_failures;
        return subject;
    }
    subject.argv = {m_opt.gateway, config};
    return subject;
}

bool CBenchRun::runRelay(bool plain)
{
    const TSubject subject = relay(plain);
    CChildProcess process;
    if (process.start(subject.argv, pinned()) != 0) {
        fprintf(stderr, "cannot start %s\n", m_opt.relay.c_str());
        ++m_failures;
        return false;
    }
    const uint64_t messages = measure(plain ? SUBJECT_PLAIN : SUBJECT_RELAY, process, subject.ports, plain);
    process.stop();
    return messages > 0;
}

bool CBenchRun::runGateway(const char* name, const char* level)
{
    const TSubject subject = gateway(level);
    if (subject.argv.empty()) {
        return false;
    }
    CChildProcess process;
    if (process.start(subject.argv, pinned()) != 0) {
        fprintf(stderr, "cannot start %s\n", m_opt.gateway.c_str());
        ++m_failures;
        return false;
    }
    const uint64_t messages = measure(name, process, subject.ports);
    const long rss = process.statusKiB("VmHWM");
    for (EBenchPath path : PATHS) {
        TBenchRow& row = m_rows[rowKey(name, path)];
        if (rss > row.peakRssKiB) {
            row.peakRssKiB = rss;
            row.processMessages = messages;
        }
    }
    printf("  %-28s peak RSS %ld KiB after %llu messages\n", name, rss, static_cast<unsigned long long>(messages));
    process.stop();
    return messages > 0;
}

double CBenchRun::countRun(const TSubject& subject, const char* name, EBenchPath path, uint64_t messages,
                           const std::string& file)
{
    const std::string out = (m_opt.callgrindDir.empty() ? m_dir.path() : m_opt.callgrindDir) + "/callgrind.out." + file;
    unlink(out.c_str());
    std::vector<std::string> argv = {m_opt.valgrind, "--tool=callgrind", "--callgrind-out-file=" + out};
    argv.insert(argv.end(), subject.argv.begin(), subject.argv.end());
    CChildProcess process;
    if (subject.argv.empty() || process.start(argv, pinned()) != 0) {
        fprintf(stderr, "cannot start %s under %s\n", name, m_opt.valgrind.c_str());
        ++m_failures;
        return -1;
    }
    // Requests go out once it holds both ports: one sent earlier would be
    // lost and its repetition make this run's count differ from the others.
    // One request per path, so that both paths' first-use costs are in
    // every run; then the traffic. Every run sends the same datagrams: what
    // a message costs depends on its values (their varints). The tag puts
    // the stick values it occupies near the centre, 1024, as in flight.
    // Bounds are generous: under callgrind the process runs some fifty
    // times slower.
    bool ok = process.holdPorts({subject.ports[0], subject.ports[1]}, 120000) == CChildProcess::E_PORTS_HELD;
    m_load.restart(COUNT_FIRST_TAG);
    for (EBenchPath p : PATHS) {
        ok = ok && m_load.run(p, subject.ports[p], 1, 1, 120, 60000).complete;
    }
    TLoadResult traffic;
    if (ok && messages > 0) {
        traffic = m_load.run(path, subject.ports[path], m_opt.window, messages, 600, 10000);
        ok = traffic.complete;
    }
    m_load.drain(20);
    process.stop(120000);
    const double total = ok ? callgrindTotal(out) : -1;
    if (total < 0) {
        fprintf(stderr, "%s, %s: no instruction count (%llu of %llu requests answered)\n", name,
                CBenchTraffic::pathName(path), static_cast<unsigned long long>(traffic.received),
                static_cast<unsigned long long>(messages));
        ++m_failures;
    }
    return total;
}

void CBenchRun::countInstructions()
{
    printf("instruction count: under callgrind, %llu messages per path at %d in flight, less a run without them\n",
           static_cast<unsigned long long>(m_opt.countMessages), m_opt.window);
    fflush(stdout);
    for (const char* name : {SUBJECT_RELAY, SUBJECT_ERROR}) {
        const bool isRelay = name == SUBJECT_RELAY;
        const auto subject = [this, isRelay] { return isRelay ? relay(false) : gateway("Error"); };
        const std::string file = isRelay ? "relay." : "gateway.";
        const double idle = countRun(subject(), name, E_BENCH_PATH_RADIO_TO_APP, 0, file + "idle");
        if (idle < 0) {
            continue;
        }
        for (EBenchPath path : PATHS) {
            const double total = countRun(subject(), name, path, m_opt.countMessages,
                                          file + (path == E_BENCH_PATH_RADIO_TO_APP ? "radio-to-App" : "App-to-radio"));
            if (total < 0) {
                continue;
            }
            const double perMessage = (total - idle) / static_cast<double>(m_opt.countMessages);
            m_instructions[rowKey(name, path)] = perMessage;
            printf("  %-28s %-10s %13.0f instructions, %13.0f without traffic: %6.0f per message\n", name,
                   CBenchTraffic::pathName(path), total, idle, perMessage);
            fflush(stdout);
        }
    }
}

void CBenchRun::recordRatios()
{
    for (const char* subject : {SUBJECT_ERROR, SUBJECT_INFO, SUBJECT_PLAIN}) {
        for (EBenchPath path : PATHS) {
            const std::string key = rowKey(subject, path);
            const std::string relayKey = rowKey(SUBJECT_RELAY, path);
            if (m_roundWindow.count(key) == 0 || m_roundWindow.count(relayKey) == 0 ||
                m_roundWindow[relayKey].rate <= 0) {
                continue;
            }
            TBenchRow& row = m_rows[key];
            row.ratio.push_back(m_roundWindow[key].rate / m_roundWindow[relayKey].rate);
            if (m_roundCpuUs[key] > 0) {
                row.cpuRatio.push_back(m_roundCpuUs[relayKey] / m_roundCpuUs[key]);
            }
            if (subject != SUBJECT_PLAIN) {
                row.p50Delta.push_back(m_roundOne[key].p50Us - m_roundOne[relayKey].p50Us);
            }
        }
    }
}

void CBenchRun::printTable()
{
    if (m_rows.empty()) {
        return;
    }
    printf("\nMedians over %d round(s). At %d in flight: msg/s and its ratio to the relay; CPU/msg, the CPU time\n"
           "of the process under test per message (us), and the ratio of the relay's to it (CPU ratio); busy, the\n"
           "share of the run it was on its CPU; round trips p50/p99 (us). At 1 in flight: round trips p50(1),\n"
           "p99(1) and dp50(1), the p50 less the relay's (us).\n",
           m_opt.rounds, m_opt.window);
    printf("%-28s %-10s %7s %5s %7s %5s %4s %6s %6s | %6s %6s %7s | %s\n", "subject", "path", "msg/s", "ratio",
           "CPU/msg", "CPU r", "busy", "p50", "p99", "p50(1)", "p99(1)", "dp50(1)", "peak RSS");
    for (const char* subject : {SUBJECT_RELAY, SUBJECT_ERROR, SUBJECT_INFO, SUBJECT_PLAIN}) {
        for (EBenchPath path : PATHS) {
            auto it = m_rows.find(rowKey(subject, path));
            if (it == m_rows.end()) {
                continue;
            }
            const TBenchRow& row = it->second;
            char ratio[16] = "-";
            char cpuRatio[16] = "-";
            char delta[16] = "-";
            char one50[16] = "-";
            char one99[16] = "-";
            char rss[64] = "-";
            if (!row.ratio.empty()) {
                snprintf(ratio, sizeof(ratio), "%.2f", median(row.ratio));
            }
            if (!row.cpuRatio.empty()) {
                snprintf(cpuRatio, sizeof(cpuRatio), "%.2f", median(row.cpuRatio));
            }
            if (!row.p50Delta.empty()) {
                snprintf(delta, sizeof(delta), "%+.1f", median(row.p50Delta));
            }
            if (!row.p50One.empty()) {
                snprintf(one50, sizeof(one50), "%.1f", median(row.p50One));
                snprintf(one99, sizeof(one99), "%.1f", median(row.p99One));
            }
            if (row.peakRssKiB >= 0) {
                snprintf(rss, sizeof(rss), "%.2f MiB", row.peakRssKiB / 1024.0);
            }
            printf("%-28s %-10s %7.0f %5s %7.2f %5s %3.0f%% %6.1f %6.1f | %6s %6s %7s | %s\n", subject,
                   CBenchTraffic::pathName(path), median(row.rate), ratio, median(row.cpuUs), cpuRatio,
                   100 * median(row.busy), median(row.p50Window), median(row.p99Window), one50, one99, delta, rss);
        }
    }
}

void CBenchRun::printInstructions()
{
    if (m_instructions.empty()) {
        return;
    }
    printf("\nUser-space instructions per message (callgrind; the same for the same binary and input, whatever\n"
           "else the machine does):\n");
    for (const char* subject : {SUBJECT_RELAY, SUBJECT_ERROR}) {
        for (EBenchPath path : PATHS) {
            auto it = m_instructions.find(rowKey(subject, path));
            if (it != m_instructions.end()) {
                printf("  %-28s %-10s %6.0f\n", subject, CBenchTraffic::pathName(path), it->second);
            }
        }
    }
}

bool CBenchRun::checkTargets()
{
    printf("\nTargets (of the subjects run):\n");
    bool all = true;
    auto verdict = [&all](bool ok, const std::string& text) {
        all = all && ok;
        printf("  [%s] %s\n", ok ? "met" : "MISSED", text.c_str());
    };
    char text[256];
    struct TGateway {
        const char* subject;
        const char* key; // in --subjects
        double minRatio;
    };
    for (const TGateway& g : {TGateway{SUBJECT_ERROR, "error", 0.93}, TGateway{SUBJECT_INFO, "info", 0.88}}) {
        if (!wanted(g.key)) {
            continue;
        }
        for (EBenchPath path : PATHS) {
            if (!wanted("relay")) {
                break;
            }
            const TBenchRow& row = m_rows[rowKey(g.subject, path)];
            const double ratio = median(row.ratio);
            snprintf(text, sizeof(text), "%s, %s: ratio %.2f >= %.2f", g.subject, CBenchTraffic::pathName(path), ratio,
                     g.minRatio);
            verdict(!row.ratio.empty() && ratio >= g.minRatio, text);
            const double delta = median(row.p50Delta);
            snprintf(text, sizeof(text), "%s, %s: p50 at 1 in flight %+.1f us from the relay's (within 2 us)",
                     g.subject, CBenchTraffic::pathName(path), delta);
            verdict(!row.p50Delta.empty() && delta <= 2.0, text);
        }
        const TBenchRow& row = m_rows[rowKey(g.subject, E_BENCH_PATH_RADIO_TO_APP)];
        snprintf(text, sizeof(text), "%s: peak RSS %.2f MiB after %llu messages (under 10 MiB after 1,000,000)",
                 g.subject, row.peakRssKiB / 1024.0, static_cast<unsigned long long>(row.processMessages));
        verdict(row.peakRssKiB > 0 && row.peakRssKiB < 10 * 1024 && row.processMessages >= 1000000, text);
    }
    if (wanted("count")) {
        for (const auto& target :
             {std::make_pair(E_BENCH_PATH_RADIO_TO_APP, 1500.0), std::make_pair(E_BENCH_PATH_APP_TO_RADIO, 2000.0)}) {
            auto it = m_instructions.find(rowKey(SUBJECT_ERROR, target.first));
            const double count = it == m_instructions.end() ? -1 : it->second;
            snprintf(text, sizeof(text), "%s, %s: %.0f user-space instructions per message <= %.0f", SUBJECT_ERROR,
                     CBenchTraffic::pathName(target.first), count, target.second);
            verdict(count >= 0 && count <= target.second, text);
        }
    }
    return all;
}

int CBenchRun::run()
{
    if (m_dir.path().empty() || m_load.open() != 0) {
        fprintf(stderr, "cannot set up the load generator\n");
        return 1;
    }
    m_load.setSpin(!m_opt.blockingLoad);

    utsname host = {};
    uname(&host);
    printf("Lumbrix benchmark\n");
    printf("machine: %s, %ld CPUs online, %s %s %s\n", readFirstLine("/proc/cpuinfo", "model name").c_str(),
           sysconf(_SC_NPROCESSORS_ONLN), host.sysname, host.release, host.machine);
    printf("process under test on CPU %d, load generator on CPU %d%s, %s\n", m_opt.gatewayCpu, m_opt.loadCpu,
           m_opt.gatewayCpu == m_opt.loadCpu ? " (one CPU only: figures are not comparable)" : "",
           m_opt.blockingLoad ? "blocking in its receive" : "polling its socket");
    printf("per path: %llu warm-up, %llu at %d in flight, %llu at 1 in flight; %d round(s)\n\n",
           static_cast<unsigned long long>(m_opt.warmup), static_cast<unsigned long long>(m_opt.count), m_opt.window,
           static_cast<unsigned long long>(m_opt.latencyCount), m_opt.rounds);
    fflush(stdout);

    const bool clocked = wanted("relay") || wanted("error") || wanted("info") || wanted("plain");
    for (int round = 1; clocked && round <= m_opt.rounds; ++round) {
        printf("round %d of %d (load average %s)\n", round, m_opt.rounds, loadAverage().c_str());
        m_roundWindow.clear();
        m_roundOne.clear();
        if (wanted("relay")) {
            runRelay(false);
        }
        if (wanted("error")) {
            runGateway(SUBJECT_ERROR, "Error");
        }
        if (wanted("info")) {
            runGateway(SUBJECT_INFO, "Info");
        }
        if (wanted("plain")) {
            runRelay(true);
        }
        recordRatios();
    }
    if (wanted("count")) {
        countInstructions();
    }
    printTable();
    printInstructions();
    if (m_minBusy < BUSY_WARNING) {
        printf("\nSome runs kept the process under test on its CPU only %.0f%% of the time: something else ran\n"
               "on one of the two CPUs, and the msg/s ratios are unreliable (the CPU ratios much less so).\n"
               "Run again on a quiet machine.\n",
               100 * m_minBusy);
    }
    const bool met = checkTargets();
    printf("\nload average at the end: %s\n", loadAverage().c_str());
    if (m_failures > 0) {
        printf("%d measurement(s) failed or were incomplete\n", m_failures);
        return 1;
    }
    return m_opt.check && !met ? 3 : 0;
}
