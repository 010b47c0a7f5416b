#ifndef LUMBRIX_TEST_GATEWAY_HARNESS_H
#define LUMBRIX_TEST_GATEWAY_HARNESS_H

#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

#include "TempDir.h"
#include "TestMessages.h"
#include "UdpPeer.h"

// The gateway the tests start: LUMBRIX_GATEWAY when set (for example a
// cross-built one, run through LUMBRIX_EXEC_WRAPPER), else the one built here.
std::string gatewayBinary();

// The real lumbrix binary (or another program) run as a child process, its
// standard output and error captured in a file. LUMBRIX_EXEC_WRAPPER, when
// set, is a command (words separated by blanks) the child is started
// through, e.g. "qemu-aarch64"; the pid is then the wrapper's, which passes
// signals on. The child is killed (SIGKILL) when the object goes, if it
// still runs; then, if it printed a sanitizer report, the current test
// fails with it. Every wait is bounded.
class GatewayProcess {
public:
    GatewayProcess(const std::vector<std::string>& args, const std::string& outputPath,
                   const std::string& workDir = "", const std::string& program = gatewayBinary());
    ~GatewayProcess();
    GatewayProcess(const GatewayProcess&) = delete;
    GatewayProcess& operator=(const GatewayProcess&) = delete;

    pid_t pid() const { return m_pid; }
    // The waitpid status if the child ended within timeoutMs, else -1.
    int waitExit(int timeoutMs);
    bool running() { return waitExit(0) == -1; }
    void signal(int sig);
    // True once the test has sent the child a signal (an end is expected).
    bool signalled() const { return m_signalled; }
    std::string output() const { return readFile(m_outputPath); }

private:
    pid_t m_pid = -1;
    bool m_exited = false;
    bool m_signalled = false;
    int m_status = 0;
    std::string m_outputPath;
};

// Polls until ok() holds, at most timeoutMs; false if it never did.
bool within(int timeoutMs, const std::function<bool()>& ok);
// How a child ended, from its waitpid status ("exit code 1", "signal 11").
std::string describeExit(int status);
// The processes holding a UDP socket bound to 127.0.0.1:port.
std::vector<pid_t> udpPortHolders(uint16_t port);
// True when process pid is one of them.
bool udpPortHeldBy(uint16_t port, pid_t pid);

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

    TempDir dir;
    UdpPeer radio;
    UdpPeer app;
    uint16_t xoltPort = freeUdpPort();
    uint16_t protobufPort = freeUdpPort();
    std::string configPath = dir.file("lumbrix.json");
    std::string logPath = dir.file("aiService.log");
    std::string outputPath = dir.file("stdout.txt");
    std::unique_ptr<GatewayProcess> process;
    std::string extraConfig;
};

#endif
