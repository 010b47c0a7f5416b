#ifndef LUMBRIX_TEST_GATEWAY_PROCESS_H
#define LUMBRIX_TEST_GATEWAY_PROCESS_H

#include <string>
#include <sys/types.h>
#include <vector>

// The real lumbrix binary run as a child process, its standard output and
// error captured in a file. The child is killed (SIGKILL) when the object
// goes, if it still runs. Every wait is bounded.
class GatewayProcess {
public:
    // args are passed after the program name; output goes to outputPath.
    GatewayProcess(const std::vector<std::string>& args, const std::string& outputPath,
                   const std::string& workDir = "");
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
    std::string output() const;
    // Polls the captured output (or the given file) until it contains text.
    bool waitForOutput(const std::string& text, int timeoutMs) const;

private:
    pid_t m_pid = -1;
    bool m_exited = false;
    int m_status = 0;
    std::string m_outputPath;
};

// Polls a file until it contains text, at most timeoutMs.
bool waitForFileText(const std::string& path, const std::string& text, int timeoutMs);
// Number of times text occurs in s.
size_t countOccurrences(const std::string& s, const std::string& text);

#endif
