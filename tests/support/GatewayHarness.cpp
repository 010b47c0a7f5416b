#include "GatewayHarness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <thread>

namespace {

// The part of a child's output from the first sanitizer report on.
std::string sanitizerReport(const std::string& output)
{
    size_t first = std::string::npos;
    for (const char* marker : {"ERROR: AddressSanitizer", "ERROR: LeakSanitizer",
                               "runtime error:", "AddressSanitizer:DEADLYSIGNAL", "WARNING: ThreadSanitizer"}) {
        first = std::min(first, output.find(marker));
    }
    return first == std::string::npos ? "" : output.substr(output.rfind('\n', first) + 1);
}

} // namespace

std::string gatewayBinary()
{
    const char* other = getenv("LUMBRIX_GATEWAY");
    return other != nullptr && *other != '\0' ? other : LUMBRIX_BINARY;
}

GatewayProcess::GatewayProcess(const std::vector<std::string>& args, const std::string& outputPath,
                               const std::string& workDir, const std::string& program)
{
    TChildOptions options;
    options.output = outputPath;
    options.workDir = workDir;
    const char* wrapper = getenv("LUMBRIX_EXEC_WRAPPER");
    options.wrapper = wrapper != nullptr ? wrapper : "";
    std::vector<std::string> argv{program};
    argv.insert(argv.end(), args.begin(), args.end());
    start(argv, options);
}

GatewayProcess::~GatewayProcess()
{
    if (running()) {
        kill(pid(), SIGKILL);
        waitExit(5000);
    }
    const std::string report = sanitizerReport(output());
    if (!report.empty()) {
        ADD_FAILURE() << "the gateway reported an error of its own:\n" << report.substr(0, 8000);
    }
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
    for (const auto& [key, value] : std::map<std::string, std::string>{{"<XOLT>", std::to_string(xoltPort)},
                                                                       {"<PROTOBUF>", std::to_string(protobufPort)},
                                                                       {"<RADIO>", std::to_string(radio.port())},
                                                                       {"<APP>", std::to_string(app.port())},
                                                                       {"<LEVEL>", level},
                                                                       {"<LOG>", logPath},
                                                                       {"<DIR>", dir.path()}}) {
        json = replaced(json, key, value);
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
            xoltPort = CUdpPeer::freePort();
            protobufPort = CUdpPeer::freePort();
        }
        writeFile(configPath, configJson(level));
        std::vector<std::string> args{configPath};
        args.insert(args.end(), extraArgs.begin(), extraArgs.end());
        process.reset(new GatewayProcess(args, outputPath, dir.path()));
        const CChildProcess::EPorts seen = process->holdPorts({xoltPort, protobufPort}, 5000);
        if (seen != CChildProcess::E_PORTS_TAKEN) {
            return seen == CChildProcess::E_PORTS_HELD;
        }
    }
    return false;
}
