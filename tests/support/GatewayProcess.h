#ifndef LUMBRIX_TEST_GATEWAY_PROCESS_H
#define LUMBRIX_TEST_GATEWAY_PROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

// The gateway the tests start: LUMBRIX_GATEWAY when set (for example a
// cross-built one, run through LUMBRIX_EXEC_WRAPPER), else the one built here.
std::string gatewayBinary();

// The real lumbrix binary run as a child process, its standard output and
// error captured in a file. The child is killed (SIGKILL) when the object
// goes, if it still runs; then, if the child printed a sanitizer report
// (a build with LUMBRIX_SANITIZE), the current test fails with it. Every
// wait is bounded.
class GatewayProcess {
public:
    // args are passed after the program name; output goes to outputPath.
    // program defaults to the gateway; the simulator's tests start theirs.
    GatewayProcess(const std::vector<std::string>& args, const std::string& outputPath,
                   const std::string& workDir = "", const std::string& program = gatewayBinary());
    ~GatewayProcess();
    GatewayProcess(const GatewayProcess&) = delete;
    GatewayProcess& operator=(const GatewayProcess&) = delete;

    pid_t pid() const { return m_pid; }
    // Exit status if the child ended within timeoutMs (as from waitpid), or
    // -1 if it is still running.
    int waitExit(int timeoutMs);
    bool exited() const { return m_exited; }
    int rawStatus() const { return m_status; }
    bool running();
    void signal(int sig);
    // True once the test has sent the child a signal (an end is expected).
    bool signalled() const { return m_signalled; }
    std::string output() const;
    // Polls the captured output (or the given file) until it contains text.
    bool waitForOutput(const std::string& text, int timeoutMs) const;

private:
    pid_t m_pid = -1;
    bool m_exited = false;
    bool m_signalled = false;
    int m_status = 0;
    std::string m_outputPath;
};

// Polls a file until it contains text, at most timeoutMs.
bool waitForFileText(const std::string& path, const std::string& text, int timeoutMs);
// How a child ended, from its waitpid status ("exit code 1", "signal 11").
std::string describeExit(int status);
// The part of a child's output from the first sanitizer report on; empty
// when there is none.
std::string sanitizerReport(const std::string& output);
// Number of times text occurs in s.
size_t countOccurrences(const std::string& s, const std::string& text);

#endif
