#ifndef LUMBRIX_TEST_GATEWAY_HARNESS_H
#define LUMBRIX_TEST_GATEWAY_HARNESS_H

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "GatewayProcess.h"
#include "TestMessages.h"
#include "TempDir.h"
#include "UdpPeer.h"

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

    // The configuration text for the given log level ("Error" ... "Debug").
    std::string configJson(const std::string& level) const;
    // Writes the configuration, starts the gateway and waits until both
    // services listen. False (with the output in the message) on failure.
    bool start(const std::string& level = "Debug", const std::vector<std::string>& extraArgs = {});

    bool sendFrame(const std::string& bytes) { return radio.sendTo(xoltPort, bytes); }
    bool sendFrame(const std::vector<uint8_t>& bytes) { return radio.sendTo(xoltPort, bytes); }
    bool sendEnvelope(const std::string& bytes) { return app.sendTo(protobufPort, bytes); }

    // Everything the gateway printed so far.
    std::string output() const { return process ? process->output() : std::string(); }
    bool waitForOutput(const std::string& text, int timeoutMs = 3000) const
    {
        return process && process->waitForOutput(text, timeoutMs);
    }

    TempDir dir;
    UdpPeer radio;
    UdpPeer app;
    uint16_t xoltPort = freeUdpPort();
    uint16_t protobufPort = freeUdpPort();
    std::string configPath = dir.file("lumbrix.json");
    std::string logPath = dir.file("aiService.log");
    std::string outputPath = dir.file("stdout.txt");
    std::unique_ptr<GatewayProcess> process;
};

// Wall-clock milliseconds, as the gateway stamps its envelopes.
int64_t nowMs();

// The next frame the gateway sends to the radio side; empty after 2 s.
std::vector<uint8_t> receiveFrame(GatewayHarness& h);

// The next envelope the gateway sends to the App, checked for the header
// every outgoing message carries: the token, head type, message id and
// sequence given, device 0, source 2, version 0, a time stamp of now. The
// datagram itself goes to raw when given.
testing::AssertionResult receiveEnvelope(GatewayHarness& h, quelby::protocol::QuelbyMessage& out, int32_t headType,
                                         uint32_t messageId, int32_t sequence, std::string* raw = nullptr,
                                         const std::string& token = "Remote");

// True when some socket is bound to 127.0.0.1:port for UDP.
bool udpPortBound(uint16_t port);

#endif
