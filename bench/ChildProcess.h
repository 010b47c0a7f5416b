#ifndef LUMBRIX_BENCH_CHILD_PROCESS_H
#define LUMBRIX_BENCH_CHILD_PROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

// One process under test (the gateway or the reference relay), started
// pinned to one CPU with its standard output and error sent to a file
// (/dev/null by default). It dies with the benchmark (parent-death signal)
// and is ended by stop() or the destructor: SIGTERM, then SIGKILL after a
// bounded wait. Owns the child until it has been reaped.
class CChildProcess {
public:
    CChildProcess() = default;
    ~CChildProcess();
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    // Starts argv[0] with argv on cpu (-1: not pinned). 0 or -1.
    int start(const std::vector<std::string>& argv, int cpu, const std::string& output = "/dev/null");

    // Peak resident set size (VmHWM) in KiB; -1 when unknown.
    long peakRssKiB() const;

    // CPU time the child's threads have run so far, in nanoseconds (the
    // scheduler's own account, unaffected by time spent waiting for a CPU);
    // 0 when unknown.
    unsigned long long cpuTimeNs() const;

    // True while the child has not exited.
    bool running();

    // Ends the child; returns its wait status, or -1.
    int stop(int graceMs = 2000);

    pid_t pid() const { return m_pid; }

private:
    int waitExit(int timeoutMs);

    pid_t m_pid = -1;
    bool m_reaped = false;
    int m_status = -1;
};

#endif
