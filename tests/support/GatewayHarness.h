#ifndef LUMBRIX_TEST_GATEWAY_HARNESS_H
#define LUMBRIX_TEST_GATEWAY_HARNESS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kit/ChildProcess.h"
#include "kit/TempDir.h"
#include "kit/TestMessages.h"
#include "kit/UdpPeer.h"

// The gateway the tests start: LUMBRIX_GATEWAY when set (for example a
// cross-built one, run through LUMBRIX_EXEC_WRAPPER), else the one built here.
std::string gatewayBinary();

// The real lumbrix binary (or another program) as the tests run it: through
// LUMBRIX_EXEC_WRAPPER when set, output captured in a file, killed (SIGKILL)
// when the object goes if it still runs; then, if it printed a sanitizer
// report, the current test fails with it.
class GatewayProcess : public CChildProcess {
public:
    GatewayProcess(const std::vector<std::string>& args, const std::string& outputPath, const std::string& workDir = "",
                   const std::string& program = gatewayBinary());
    ~GatewayProcess() override;
};

// Polls until ok() holds, at most timeoutMs; false if it never did.
bool within(int timeoutMs, const std::function<bool()>& ok);

// A running gateway on loopback with a stand-in radio side and App: the
// configuration points the "transmit" client at radio and the "app" client
// at app, the two services listen on free ports, and the log goes to a
// temporary directory. A gateway that ends during the test without having
// been sent a signal (a crash, a sanitizer abort) fails the test.
class GatewayHarness {
public:
    GatewayHarness() = default;
    ~GatewayHarness();
    GatewayHarness(const GatewayHarness&) = delete;
    GatewayHarness& operator=(const GatewayHarness&) = delete;

    // The configuration text for the given log level ("Error" ... "Debug"),
    // with extraConfig's members added to its root object.
    std::string configJson(const std::string& level) const;
    // Writes the configuration, starts the gateway and waits until both
    // services listen (on new ports if another process took one first).
    // False when they did not.
    bool start(const std::string& level = "Debug", const std::vector<std::string>& extraArgs = {});

    bool sendFrame(const std::string& bytes) { return radio.sendTo(xoltPort, bytes); }
    bool sendFrame(const std::vector<uint8_t>& bytes) { return radio.sendTo(xoltPort, bytes); }
    bool sendEnvelope(const std::string& bytes) { return app.sendTo(protobufPort, bytes); }
    // Everything the gateway printed so far.
    std::string output() const { return readFile(outputPath); }

    CTempDir dir;
    CUdpPeer radio{0};
    CUdpPeer app{0};
    uint16_t xoltPort = CUdpPeer::freePort();
    uint16_t protobufPort = CUdpPeer::freePort();
    std::string configPath = dir.file("lumbrix.json");
    std::string logPath = dir.file("aiService.log");
    std::string outputPath = dir.file("stdout.txt");
    std::unique_ptr<GatewayProcess> process;
    std::string extraConfig;
};

#endif
