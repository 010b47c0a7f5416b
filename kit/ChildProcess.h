#ifndef LUMBRIX_KIT_CHILD_PROCESS_H
#define LUMBRIX_KIT_CHILD_PROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

// A program run as a child process: the gateway, the simulator or the
// reference relay, for the tests and the bench. Its standard output and
// error go to a file; it may be started through a wrapper command (words
// separated by blanks, e.g. "qemu-aarch64": the pid is then the wrapper's,
// which passes signals on) and pinned to one CPU. It dies with its parent
// (parent-death signal) and is ended by stop() or the destructor: SIGTERM,
// then SIGKILL after a bounded wait. Every wait is bounded. Owns the child
// until it has been reaped; single-threaded.
// How a child is started.
struct TChildOptions {
    std::string output = "/dev/null";
    std::string workDir; // empty: the parent's
    std::string wrapper;
    int cpu = -1; // -1: not pinned
};

class CChildProcess {
public:
    // What holdPorts() saw.
    enum EPorts { E_PORTS_HELD, E_PORTS_TAKEN, E_PORTS_NOT_HELD };

    CChildProcess() = default;
    virtual ~CChildProcess();
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;

    // Starts argv[0] (searched in PATH) with argv. 0 or -1.
    int start(const std::vector<std::string>& argv, const TChildOptions& options = {});
    pid_t pid() const { return m_pid; }
    // The waitpid status if the child ended within timeoutMs, else -1.
    int waitExit(int timeoutMs);
    bool running() { return m_pid > 0 && waitExit(0) == -1; }
    void signal(int sig);
    // True once it has been sent a signal (an end is expected).
    bool signalled() const { return m_signalled; }
    // Ends the child; returns its wait status, or -1.
    int stop(int graceMs = 2000);

    // Waits up to timeoutMs until the child itself holds every one of the
    // UDP ports on 127.0.0.1. E_PORTS_TAKEN as soon as another process holds
    // one; E_PORTS_NOT_HELD when the child ended or the time ran out.
    EPorts holdPorts(const std::vector<uint16_t>& ports, int timeoutMs);

    // What its standard output and error held so far.
    std::string output() const;
    // A size line of /proc/PID/status in KiB ("VmHWM", "VmRSS"); -1 when unknown.
    long statusKiB(const char* key) const;
    // CPU time the child's threads have run so far, in nanoseconds (the
    // scheduler's own account, unaffected by time spent waiting for a CPU);
    // 0 when unknown.
    unsigned long long cpuTimeNs() const;

private:
    pid_t m_pid = -1;
    bool m_exited = false;
    bool m_signalled = false;
    int m_status = -1;
    std::string m_output;
};

// "exit code 1", "signal 11": how a child ended, from its waitpid status.
std::string describeExit(int status);

#endif
