#include "GatewayHarness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// Polls until ok() or the time is up.
template <class F>
bool within(int timeoutMs, F ok)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!ok()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

// The part of a child's output from the first sanitizer report on.
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

} // namespace

std::string gatewayBinary()
{
    const char* other = getenv("LUMBRIX_GATEWAY");
    return other != nullptr && *other != '\0' ? other : LUMBRIX_BINARY;
}

GatewayProcess::GatewayProcess(const std::vector<std::string>& args, const std::string& outputPath,
                               const std::string& workDir, const std::string& program)
    : m_outputPath(outputPath)
{
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
    within(timeoutMs, [this] {
        int status = 0;
        const pid_t r = m_exited ? m_pid : waitpid(m_pid, &status, WNOHANG);
        if (r == m_pid && !m_exited) {
            m_exited = true;
            m_status = status;
        }
        return m_exited || (r < 0 && errno != EINTR);
    });
    return m_exited ? m_status : -1;
}

void GatewayProcess::signal(int sig)
{
    if (m_pid > 0 && !m_exited) {
        m_signalled = true;
        kill(m_pid, sig);
    }
}

bool GatewayProcess::waitForOutput(const std::string& text, int timeoutMs) const
{
    return within(timeoutMs, [&] { return output().find(text) != std::string::npos; });
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

bool udpPortBound(uint16_t port)
{
    char local[32];
    snprintf(local, sizeof(local), "0100007F:%04X ", port);
    return readFile("/proc/net/udp").find(local) != std::string::npos;
}

std::string GatewayHarness::configJson(const std::string& level) const
{
    std::ostringstream json;
    json << "{\"serviceEntity\": [\n"
         << "  {\"enable\": true, \"socketType\": 2, \"protocolType\": \"xolt\", \"listenIp\": \"127.0.0.1\", \"listenPort\": "
         << xoltPort << "},\n"
         << "  {\"socketType\": 2, \"protocolType\": \"protobuf\", \"listenIp\": \"127.0.0.1\", \"listenPort\": "
         << protobufPort << "}],\n"
         << " \"clientEntity\": [\n"
         << "  {\"enable\": true, \"serviceName\": \"transmit\", \"serviceId\": 2, \"socketType\": \"udp\", \"remoteIp\": \"127.0.0.1\", \"remotePort\": "
         << radio.port() << ", \"localIp\": \"\", \"localPort\": 0},\n"
         << "  {\"enable\": true, \"serviceName\": \"app\", \"serviceId\": 0, \"socketType\": \"udp\", \"remoteIp\": \"127.0.0.1\", \"remotePort\": "
         << app.port() << ", \"localIp\": \"127.0.0.1\", \"localPort\": 0}],\n"
         << " \"log\": {\"level\": \"" << level << "\", \"file\": \"" << logPath
         << "\", \"fileCnt\": 3, \"logMode\": 0, \"fileSize\": 10485760, \"logExternalEnable\": false,"
         << " \"logExternalPath\": \"" << dir.path() << "/no-card/\", \"logExternalImagePath\": \"" << dir.path()
         << "/no-card/images/\", \"logTransmitUrl\": \"" << dir.path() << "/\", \"totalSize\": 4194304, \"minFileCnt\": 5}\n"
         << "}\n";
    return json.str();
}

GatewayHarness::~GatewayHarness()
{
    if (!process || process->signalled()) {
        return;
    }
    const int status = process->waitExit(0);
    if (status != -1) {
        const std::string out = output();
        ADD_FAILURE() << "the gateway ended during the test (" << describeExit(status) << "); its last output:\n"
                      << out.substr(out.size() > 8000 ? out.size() - 8000 : 0);
    }
}

bool GatewayHarness::start(const std::string& level, const std::vector<std::string>& extraArgs)
{
    process.reset(); // a gateway started before ends first
    writeFile(configPath, configJson(level));
    std::vector<std::string> args{configPath};
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    process.reset(new GatewayProcess(args, outputPath, dir.path()));
    // Up when both service ports are bound (the kernel's socket table tells,
    // whatever the log level lets the gateway print).
    return within(5000, [&] { return !process->running() || (udpPortBound(xoltPort) && udpPortBound(protobufPort)); }) &&
           process->running();
}
