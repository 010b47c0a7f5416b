#include "GatewayProcess.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "TempDir.h"

std::string gatewayBinary()
{
    const char* other = getenv("LUMBRIX_GATEWAY");
    return other != nullptr && *other != '\0' ? other : LUMBRIX_BINARY;
}

GatewayProcess::GatewayProcess(const std::vector<std::string>& args, const std::string& outputPath,
                               const std::string& workDir, const std::string& program)
    : m_outputPath(outputPath)
{
    // LUMBRIX_EXEC_WRAPPER, when set, is a command (words separated by blanks)
    // that the gateway is started through, e.g. "qemu-aarch64" to run a
    // cross-built gateway on the build machine. The child's pid is then the
    // wrapper's, which passes signals on to the gateway.
    std::vector<std::string> command;
    if (const char* wrapper = getenv("LUMBRIX_EXEC_WRAPPER")) {
        std::istringstream words(wrapper);
        for (std::string word; words >> word;) {
            command.push_back(word);
        }
    }
    command.push_back(program);
    command.insert(command.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& word : command) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

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
        execvp(argv[0], argv.data());
        _exit(127);
    }
}

GatewayProcess::~GatewayProcess()
{
    if (m_pid > 0 && !m_exited) {
        kill(m_pid, SIGKILL);
        waitExit(5000);
    }
    const std::string report = sanitizerReport(output());
    if (!report.empty()) {
        ADD_FAILURE() << "the gateway reported an error of its own:\n" << report.substr(0, 8000);
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
        m_signalled = true;
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

std::string describeExit(int status)
{
    if (WIFEXITED(status)) {
        return "exit code " + std::to_string(WEXITSTATUS(status));
    }
    if (WIFSIGNALED(status)) {
        return "signal " + std::to_string(WTERMSIG(status));
    }
    return "status " + std::to_string(status);
}

std::string sanitizerReport(const std::string& output)
{
    size_t first = std::string::npos;
    for (const char* marker : {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:",
                               "AddressSanitizer:DEADLYSIGNAL", "WARNING: ThreadSanitizer"}) {
        first = std::min(first, output.find(marker));
    }
    if (first == std::string::npos) {
        return std::string();
    }
    const size_t lineStart = output.rfind('\n', first);
    return output.substr(lineStart == std::string::npos ? 0 : lineStart + 1);
}

size_t countOccurrences(const std::string& s, const std::string& text)
{
    size_t count = 0;
    for (size_t pos = s.find(text); pos != std::string::npos; pos = s.find(text, pos + text.size())) {
        ++count;
    }
    return count;
}
