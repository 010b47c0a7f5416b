#include "GatewayHarness.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <sstream>
#include <thread>

std::string GatewayHarness::configJson(const std::string& level) const
{
    std::ostringstream json;
    json << "{\n"
         << "  \"serviceEntity\": [\n"
         << "    {\"enable\": true, \"socketType\": 2, \"protocolType\": \"xolt\", \"listenIp\": \"127.0.0.1\", \"listenPort\": "
         << xoltPort << "},\n"
         << "    {\"socketType\": 2, \"protocolType\": \"protobuf\", \"listenIp\": \"127.0.0.1\", \"listenPort\": "
         << protobufPort << "}\n"
         << "  ],\n"
         << "  \"clientEntity\": [\n"
         << "    {\"enable\": true, \"serviceName\": \"transmit\", \"serviceId\": 2, \"socketType\": \"udp\", \"remoteIp\": \"127.0.0.1\", \"remotePort\": "
         << radio.port() << ", \"localIp\": \"\", \"localPort\": 0},\n"
         << "    {\"enable\": true, \"serviceName\": \"app\", \"serviceId\": 0, \"socketType\": \"udp\", \"remoteIp\": \"127.0.0.1\", \"remotePort\": "
         << app.port() << ", \"localIp\": \"127.0.0.1\", \"localPort\": 0}\n"
         << "  ],\n"
         << "  \"log\": {\"level\": \"" << level << "\", \"file\": \"" << logPath
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
    writeFile(configPath, configJson(level));
    std::vector<std::string> args{configPath};
    args.insert(args.end(), extraArgs.begin(), extraArgs.end());
    process.reset(new GatewayProcess(args, outputPath, dir.path()));
    // Up when both service ports are bound (the kernel's socket table tells,
    // whatever the log level lets the gateway print).
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < deadline) {
        if (!process->running()) {
            return false;
        }
        if (udpPortBound(xoltPort) && udpPortBound(protobufPort)) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

bool udpPortBound(uint16_t port)
{
    char local[32];
    snprintf(local, sizeof(local), "0100007F:%04X ", port);
    return readFile("/proc/net/udp").find(local) != std::string::npos;
}

int64_t nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::vector<uint8_t> receiveFrame(GatewayHarness& h)
{
    std::string datagram;
    if (!h.radio.receive(datagram, 2000)) {
        return {};
    }
    return std::vector<uint8_t>(datagram.begin(), datagram.end());
}

testing::AssertionResult receiveEnvelope(GatewayHarness& h, quelby::protocol::QuelbyMessage& out, int32_t headType,
                                         uint32_t messageId, int32_t sequence, std::string* raw,
                                         const std::string& token)
{
    const int64_t before = nowMs();
    std::string datagram;
    if (!h.app.receive(datagram, 2000)) {
        return testing::AssertionFailure() << "no App message; output:\n" << h.output();
    }
    if (raw != nullptr) {
        *raw = datagram;
    }
    if (!parseEnvelope(datagram, out)) {
        return testing::AssertionFailure() << "not an envelope: " << hexOf(datagram);
    }
    const quelby::protocol::CommonHead& head = out.head_data();
    if (head.token() != token || head.head_type() != headType || head.device_id() != 0 || head.source_id() != 2 ||
        static_cast<uint32_t>(head.message_id()) != messageId || head.message_sequence() != sequence ||
        head.version() != 0 || head.time_stamp() < before - 5000 || head.time_stamp() > nowMs() + 1000) {
        return testing::AssertionFailure() << "header: " << head.ShortDebugString();
    }
    return testing::AssertionSuccess();
}
