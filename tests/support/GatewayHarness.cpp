#include "GatewayHarness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <fcntl.h>
#include <iterator>
#include <map>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

// The part of a child's output from the first sanitizer report on.
std::string sanitizerReport(const std::string& output)
{
    size_t first = std::string::npos;
    for (const char* marker : {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer", "runtime error:",
                               "AddressSanitizer:DEADLYSIGNAL", "WARNING: ThreadSanitizer"}) {
        first = std::min(first, output.find(marker));
    }
    return first == std::string::npos ? "" : output.substr(output.rfind('\n', first) + 1);
}

} // namespace

bool within(int timeoutMs, const std::function<bool()>& ok)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!ok()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::string gatewayBinary()
{
    const char* other = getenv("LUMBRIX_GATEWAY");
    return other != nullptr && *other != '\0' ? other : LUMBRIX_BINARY;
}

GatewayProcess::GatewayProcess(const std::vector<std::string>& args, const std::string& outputPath,
                               const std::string& workDir, const std::string& program)
    : m_outputPath(outputPath)
{
    const char* wrapper = getenv("LUMBRIX_EXEC_WRAPPER");
    std::istringstream words(wrapper != nullptr ? wrapper : "");
    std::vector<std::string> command{std::istream_iterator<std::string>(words), {}};
    command.push_back(program);
    command.insert(command.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& word : command) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    m_pid = fork();
    if (m_pid == 0) {
        const int fd = open(outputPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(fd, 1);
        dup2(fd, 2);
        close(fd);
        if (workDir.empty() || chdir(workDir.c_str()) == 0) {
            execvp(argv[0], argv.data());
        }
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

std::string describeExit(int status)
{
    return WIFEXITED(status)     ? "exit code " + std::to_string(WEXITSTATUS(status))
           : WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                 : "status " + std::to_string(status);
}

std::vector<pid_t> udpPortHolders(uint16_t port)
{
    // A row of /proc/net/udp: sl, local address, remote address, state,
    // queues, timer, retransmits, uid, timeout, inode ...
    char local[16];
    snprintf(local, sizeof(local), "0100007F:%04X", port);
    std::istringstream rows(readFile("/proc/net/udp"));
    std::set<std::string> sockets;
    for (std::string row; std::getline(rows, row);) {
        std::istringstream words(row);
        std::string word[10];
        for (std::string& w : word) {
            words >> w;
        }
        if (word[1] == local) {
            sockets.insert("socket:[" + word[9] + "]");
        }
    }
    std::vector<pid_t> holders;
    if (sockets.empty()) {
        return holders;
    }
    std::error_code error;
    for (const auto& process : std::filesystem::directory_iterator("/proc", error)) {
        const pid_t pid = static_cast<pid_t>(atoi(process.path().filename().c_str()));
        for (const auto& fd : std::filesystem::directory_iterator(process.path() / "fd", error)) {
            if (pid > 0 && sockets.count(std::filesystem::read_symlink(fd.path(), error).string()) != 0) {
                holders.push_back(pid);
                break;
            }
        }
    }
    return holders;
}

bool udpPortHeldBy(uint16_t port, pid_t pid)
{
    const std::vector<pid_t> holders = udpPortHolders(port);
    return std::find(holders.begin(), holders.end(), pid) != holders.end();
}

std::string GatewayHarness::configJson(const std::string& level) const
{
    std::string json = R"({"serviceEntity": [
  {"enable": true, "socketType": 2, "protocolType": "xolt", "listenIp": "127.0.0.1", "listenPort": <XOLT>},
  {"socketType": 2, "protocolType": "protobuf", "listenIp": "127.0.0.1", "listenPort": <PROTOBUF>}],
 "clientEntity": [
  {"enable": true, "serviceName": "transmit", "serviceId": 2, "socketType": "udp", "remoteIp": "127.0.0.1", "remotePort": <RADIO>, "localIp": "", "localPort": 0},
  {"enable": true, "serviceName": "app", "serviceId": 0, "socketType": "udp", "remoteIp": "127.0.0.1", "remotePort": <APP>, "localIp": "127.0.0.1", "localPort": 0}],
 "log": {"level": "<LEVEL>", "file": "<LOG>", "fileCnt": 3, "logMode": 0, "fileSize": 1073741824, "logExternalEnable": false,
  "logExternalPath": "<DIR>/no-card/", "logExternalImagePath": "<DIR>/no-card/images/", "logTransmitUrl": "<DIR>/", "totalSize": 4194304, "minFileCnt": 5}}
)";
    if (!extraConfig.empty()) {
        json.insert(json.rfind('}'), ",\n " + extraConfig);
    }
    for (const auto& [key, value] : std::map<std::string, std::string>{
             {"<XOLT>", std::to_string(xoltPort)}, {"<PROTOBUF>", std::to_string(protobufPort)},
             {"<RADIO>", std::to_string(radio.port())}, {"<APP>", std::to_string(app.port())}, {"<LEVEL>", level},
             {"<LOG>", logPath}, {"<DIR>", dir.path()}}) {
        for (size_t at; (at = json.find(key)) != std::string::npos;) {
            json.replace(at, key.size(), value);
        }
    }
    return json;
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
    // Free ports are only free when chosen: a test running beside this one
    // may bind one before the gateway does. Up is when the gateway itself
    // holds both (the kernel's socket table tells, whatever the log level
    // lets it print); a port held by another process means a new pair.
    for (int attempt = 0; attempt < 5; ++attempt) {
        process.reset(); // a gateway started before ends first, its ports free again
        if (attempt > 0) {
            std::remove(logPath.c_str());
            xoltPort = freeUdpPort();
            protobufPort = freeUdpPort();
        }
        writeFile(configPath, configJson(level));
        std::vector<std::string> args{configPath};
        args.insert(args.end(), extraArgs.begin(), extraArgs.end());
        process.reset(new GatewayProcess(args, outputPath, dir.path()));
        int mine = 0;
        bool taken = false;
        const auto look = [&] {
            mine = 0;
            taken = false;
            for (const uint16_t port : {xoltPort, protobufPort}) {
                const std::vector<pid_t> holders = udpPortHolders(port); // one look for both questions
                const bool held = std::find(holders.begin(), holders.end(), process->pid()) != holders.end();
                mine += held ? 1 : 0;
                taken = taken || (!held && !holders.empty());
            }
            return !process->running() || mine == 2 || taken;
        };
        if (!within(5000, look) || !taken) {
            return mine == 2 && process->running();
        }
    }
    return false;
}
