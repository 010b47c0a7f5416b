#include "GatewayProcess.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "TempDir.h"

GatewayProcess::GatewayProcess(const std::vector<std::string>& args, const std::string& outputPath,
                               const std::string& workDir)
    : m_outputPath(outputPath)
{
    m_pid = fork();
    if (m_pid == 0) {
        int fd = open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
            dup2(fd, 1);
            dup2(fd, 2);
            close(fd);
        }
        if (!workDir.empty() && chdir(workDir.c_str()) != 0) {
            _exit(127);
        }
        std::vector<char*> argv;
        std::string program = LUMBRIX_BINARY;
        argv.push_back(program.data());
        std::vector<std::string> copy = args;
        for (std::string& a : copy) {
            argv.push_back(a.data());
        }
        argv.push_back(nullptr);
        execv(program.c_str(), argv.data());
        _exit(127);
    }
}

GatewayProcess::~GatewayProcess()
{
    if (m_pid > 0 && !m_exited) {
        kill(m_pid, SIGKILL);
        waitExit(5000);
    }
}

int GatewayProcess::waitExit(int timeoutMs)
{
    if (m_exited) {
        return m_status;
    }
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        int status = 0;
        pid_t r = waitpid(m_pid, &status, WNOHANG);
        if (r == m_pid) {
            m_exited = true;
            m_status = status;
            return status;
        }
        if (r < 0 && errno != EINTR) {
            return -1;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

bool GatewayProcess::running()
{
    return waitExit(0) == -1 && !m_exited;
}

void GatewayProcess::signal(int sig)
{
    if (m_pid > 0 && !m_exited) {
        kill(m_pid, sig);
    }
}

std::string GatewayProcess::output() const
{
    return readFile(m_outputPath);
}

bool GatewayProcess::waitForOutput(const std::string& text, int timeoutMs) const
{
    return waitForFileText(m_outputPath, text, timeoutMs);
}

bool waitForFileText(const std::string& path, const std::string& text, int timeoutMs)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (true) {
        if (readFile(path).find(text) != std::string::npos) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

size_t countOccurrences(const std::string& s, const std::string& text)
{
    size_t count = 0;
    for (size_t pos = s.find(text); pos != std::string::npos; pos = s.find(text, pos + text.size())) {
        ++count;
    }
    return count;
}
