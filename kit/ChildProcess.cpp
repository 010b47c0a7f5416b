#include "kit/ChildProcess.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include "kit/TempDir.h"
#include "kit/UdpPeer.h"

CChildProcess::~CChildProcess()
{
    stop(500);
}

int CChildProcess::start(const std::vector<std::string>& argv, const TChildOptions& options)
{
    if (argv.empty() || m_pid > 0) {
        return -1;
    }
    std::istringstream words(options.wrapper);
    std::vector<std::string> command{std::istream_iterator<std::string>(words), {}};
    command.insert(command.end(), argv.begin(), argv.end());
    std::vector<char*> args;
    for (std::string& word : command) {
        args.push_back(word.data());
    }
    args.push_back(nullptr);
    m_output = options.output;
    m_exited = m_signalled = false;
    const pid_t parent = getpid();

    m_pid = fork();
    if (m_pid == 0) {
        // Never outlive the parent, whatever ends it.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {
            _exit(127);
        }
        if (options.cpu >= 0) {
            cpu_set_t set;
            CPU_ZERO(&set);
            CPU_SET(options.cpu, &set);
            sched_setaffinity(0, sizeof(set), &set);
        }
        const int fd = open(options.output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(fd, 1);
        dup2(fd, 2);
        close(fd);
        if (options.workDir.empty() || chdir(options.workDir.c_str()) == 0) {
            execvp(args[0], args.data());
        }
        _exit(127);
    }
    return m_pid > 0 ? 0 : -1;
}

int CChildProcess::waitExit(int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (m_pid > 0 && !m_exited) {
        int status = 0;
        const pid_t r = waitpid(m_pid, &status, WNOHANG);
        if (r == m_pid) {
            m_exited = true;
            m_status = status;
        } else if ((r < 0 && errno != EINTR) || std::chrono::steady_clock::now() >= deadline) {
            break;
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    return m_exited ? m_status : -1;
}

void CChildProcess::signal(int sig)
{
    if (m_pid > 0 && !m_exited) {
        m_signalled = true;
        kill(m_pid, sig);
    }
}

int CChildProcess::stop(int graceMs)
{
    signal(SIGTERM);
    if (waitExit(graceMs) == -1) {
        signal(SIGKILL);
        waitExit(2000);
    }
    return m_exited ? m_status : -1;
}

CChildProcess::EPorts CChildProcess::holdPorts(const std::vector<uint16_t>& ports, int timeoutMs)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (running() && std::chrono::steady_clock::now() < deadline) {
        size_t mine = 0;
        for (const uint16_t port : ports) {
            const std::vector<pid_t> holders = CUdpPeer::holders(port); // one look for both questions
            if (std::find(holders.begin(), holders.end(), m_pid) != holders.end()) {
                ++mine;
            } else if (!holders.empty()) {
                return E_PORTS_TAKEN;
            }
        }
        if (mine == ports.size()) {
            return E_PORTS_HELD;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return E_PORTS_NOT_HELD;
}

std::string CChildProcess::output() const
{
    return readFile(m_output);
}

long CChildProcess::statusKiB(const char* key) const
{
    std::ifstream in("/proc/" + std::to_string(m_pid) + "/status");
    const std::string prefix = std::string(key) + ":";
    for (std::string line; m_pid > 0 && !m_exited && std::getline(in, line);) {
        if (line.rfind(prefix, 0) == 0) {
            return strtol(line.c_str() + prefix.size(), nullptr, 10);
        }
    }
    return -1;
}

unsigned long long CChildProcess::cpuTimeNs() const
{
    unsigned long long total = 0;
    std::error_code error;
    const std::string tasks = "/proc/" + std::to_string(m_pid) + "/task";
    for (const auto& task : std::filesystem::directory_iterator(m_pid > 0 && !m_exited ? tasks : "", error)) {
        std::ifstream in(task.path() / "schedstat");
        unsigned long long ns = 0;
        if (in >> ns) {
            total += ns;
        }
    }
    return total;
}

std::string describeExit(int status)
{
    return WIFEXITED(status)     ? "exit code " + std::to_string(WEXITSTATUS(status))
           : WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                 : "status " + std::to_string(status);
}
