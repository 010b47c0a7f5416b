// The simulator against the real gateway: lumbrix-sim in radio mode answers
// the gateway's frames, and one `lumbrix-sim app ...` per family of messages
// must get its answer through the gateway (exit code 0 and the decoded
// answer in its output). Also: the radio's report rounds, the replay of a
// recorded session, a time-out when no radio answers, and clear errors for
// bad command lines. Expected frames are worked out by hand: get gimbal
// speed with seq 0 is fd 03 00 00 0e 20 96, checksum 196, payload 02 00 00,
// CRC (extra 36) 0x3ac9; the version query is fd 00 00 00 0e 20 db,
// checksum 6, CRC (extra 0) 0x601e.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "GatewayHarness.h"
#include "GatewayProcess.h"
#include "TempDir.h"
#include "UdpPeer.h"

namespace {

// The simulator as a child process (through LUMBRIX_EXEC_WRAPPER as well).
class SimChild : public GatewayProcess {
public:
    SimChild(const std::vector<std::string>& args, const std::string& outputPath)
        : GatewayProcess(args, outputPath, "", LUMBRIX_SIM_BINARY)
    {
    }

    // The exit code once the child ended within timeoutMs; -1 if it still
    // runs, -2 if it ended by a signal.
    int exitCode(int timeoutMs)
    {
        const int status = waitExit(timeoutMs);
        if (!exited()) {
            return -1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
    }

    void stop() { signal(SIGTERM); }
};

struct SimResult {
    int code;
    std::string output;
};

class SimulatorTest : public ::testing::Test {
protected:
    std::string configJson() const
    {
        std::ostringstream json;
        json << "{\"serviceEntity\": ["
             << "{\"socketType\": 2, \"protocolType\": \"xolt\", \"listenIp\": \"127.0.0.1\", \"listenPort\": "
             << xoltPort << "},"
             << "{\"socketType\": 2, \"protocolType\": \"protobuf\", \"listenIp\": \"127.0.0.1\", \"listenPort\": "
             << protobufPort << "}],"
             << "\"clientEntity\": ["
             << "{\"serviceName\": \"transmit\", \"serviceId\": 2, \"socketType\": \"udp\", \"remoteIp\": "
                "\"127.0.0.1\", \"remotePort\": "
             << radioPort << "},"
             << "{\"serviceName\": \"app\", \"serviceId\": 0, \"socketType\": \"udp\", \"remoteIp\": \"127.0.0.1\", "
                "\"remotePort\": "
             << appPort << ", \"localIp\": \"127.0.0.1\", \"localPort\": 0}],"
             << "\"log\": {\"level\": \"Info\", \"file\": \"" << dir.file("aiService.log")
             << "\", \"fileCnt\": 2, \"logMode\": 0, \"fileSize\": 4194304, \"logExternalEnable\": false, "
             << "\"logExternalPath\": \"" << dir.path() << "/card/\", \"logExternalImagePath\": \"" << dir.path()
             << "/card/images/\", \"logTransmitUrl\": \"" << dir.path() << "/\"}}";
        return json.str();
    }

    void startGateway()
    {
        writeFile(configPath, configJson());
        gateway.reset(new GatewayProcess({configPath}, dir.file("gateway.out"), dir.path()));
        ASSERT_TRUE(waitBound({xoltPort, protobufPort})) << gateway->output();
    }

    void startRadio(const std::vector<std::string>& extra = {})
    {
        std::vector<std::string> args{"radio", "--config", configPath, "--duration", "60000"};
        args.insert(args.end(), extra.begin(), extra.end());
        radio.reset(new SimChild(args, dir.file("radio.out")));
        ASSERT_TRUE(waitBound({radioPort})) << radio->output();
    }

    static bool waitBound(const std::vector<uint16_t>& ports)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (std::chrono::steady_clock::now() < deadline) {
            bool all = true;
            for (uint16_t port : ports) {
                all = all && udpPortBound(port);
            }
            if (all) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    // One simulator run to its end (bounded), with the gateway's addresses.
    SimResult sim(std::vector<std::string> args, bool withConfig = true)
    {
        if (withConfig && args.size() > 0) {
            args.insert(args.begin() + 1, {"--config", configPath});
        }
        SimChild child(args, dir.file("sim.out"));
        int code = child.exitCode(10000);
        return {code, child.output()};
    }

    SimResult app(std::vector<std::string> words)
    {
        words.insert(words.begin(), {"app", "--seq", std::to_string(++sequence), "--timeout", "3000"});
        return sim(words);
    }

    TempDir dir;
    uint16_t xoltPort = freeUdpPort();
    uint16_t protobufPort = freeUdpPort();
    uint16_t radioPort = freeUdpPort();
    uint16_t appPort = freeUdpPort();
    std::string configPath = dir.file("lumbrix.json");
    std::unique_ptr<GatewayProcess> gateway;
    std::unique_ptr<SimChild> radio;
    int sequence = 40;
};

::testing::AssertionResult answered(const SimResult& r, std::initializer_list<const char*> texts)
{
    if (r.code != 0) {
        return ::testing::AssertionFailure() << "exit code " << r.code << ", output:\n" << r.output;
    }
    for (const char* text : texts) {
        if (r.output.find(text) == std::string::npos) {
            return ::testing::AssertionFailure() << "no \"" << text << "\" in:\n" << r.output;
        }
    }
    return ::testing::AssertionSuccess();
}

TEST_F(SimulatorTest, EveryFamilyIsAnsweredThroughTheGateway)
{
    startGateway();
    startRadio();

    // RC settings: the radio remembers what was set.
    EXPECT_TRUE(answered(app({"get-param", "gimbal-speed"}), {"<-- answer", "message_sequence: 41",
                                                              "params_list[0].data ParameterInt32 {\n    value: 50"}));
    EXPECT_TRUE(answered(app({"set-param", "gimbal-speed", "60"}), {"param_id: 24833", "response_code: 1"}));
    EXPECT_TRUE(answered(app({"get-param", "gimbal-speed"}), {"value: 60"}));
    EXPECT_TRUE(answered(app({"set-param", "rocker-mode", "2"}), {"param_id: 28673", "response_code: 1"}));
    EXPECT_TRUE(answered(app({"get-param", "rocker-mode"}), {"message_id: PARAM_GET_MSG", "value: 2"}));
    // Calibration and the stick state switch.
    EXPECT_TRUE(answered(app({"calibration", "enter"}), {"message_id: RC_ENTER_CALIBRATION_MSG", "SUCCESS"}));
    EXPECT_TRUE(answered(app({"calibration", "exit"}), {"message_id: RC_EXIT_CALIBRATION_MSG", "SUCCESS"}));
    EXPECT_TRUE(answered(app({"hardware-state", "1"}), {"message_id: RC_START_HARDWARE_STATE_NTFY_MSG"}));
    // Time: the acknowledgement on 110, and a notification.
    EXPECT_TRUE(answered(app({"system-time", "1700000000", "-5"}),
                         {"timezone: -5", "message_id: RC_SYSTEM_TIME_MSG", "status_code: SUCCESS"}));
    EXPECT_TRUE(answered(app({"utc-time-sync", "1700000000000"}), {"(no answer expected"}));
    // Nest commands; the system-config answer comes under the single-calibration id.
    EXPECT_TRUE(answered(app({"nest", "cabin", "1", "2"}),
                         {"nestaction: 2", "message_id: NEST_CABIN_CONTROL_MSG", "token: \"nest\"", "SUCCESS"}));
    EXPECT_TRUE(answered(app({"nest", "system-config", "1", "10", "20", "1700000000", "1", "1"}),
                         {"message_id: NEST_SINGLE_CALIBRATION_MSG", "SUCCESS"}));
    // Pairing with its progress, and the versions.
    EXPECT_TRUE(answered(app({"--follow", "500", "pair"}),
                         {"message_id: AIRLINK_START_MATCHING_MSG", "AIRLINK_MATCHING_STATUS_NTFY", "value: 100"}));
    EXPECT_TRUE(answered(app({"device-info"}), {"message_id: RC_HARDWARE_BUTTON_INFO_NTFY", "componentid: COMPONENT_RC",
                                                "softwareversion: \"RC-2.0.7\"", "softwareversion: \"TX-1.4.2\""}));

    // The radio printed the frames the gateway built.
    const std::string frames = radio->output();
    EXPECT_NE(frames.find("gateway -> radio: 150 RC settings request RC_CMD_GET_GIMBAL_SPEED (seq 0)\n"
                          "    fd 03 00 00 0e 20 96 c4 02 00 00 c9 3a"),
              std::string::npos)
        << frames;
    EXPECT_NE(frames.find("fd 00 00 00 0e 20 db 06 1e 60"), std::string::npos) << frames;
    // Set gimbal speed is closed with CRC extra 150; the radio still takes it.
    EXPECT_NE(frames.find("RC_CMD_SET_GIMBAL_SPEED: speed 60"), std::string::npos) << frames;
    radio->stop();
    EXPECT_EQ(radio->exitCode(5000), 0);
}

// A session recorded with the simulators' --pcap (one capture per process),
// replayed against a fresh gateway: every answer as recorded. With one byte
// of a recorded answer changed (the gimbal speed told to the App, 50 to 51)
// the replay fails and says where.
TEST_F(SimulatorTest, ReplayOfARecordedSessionComparesTheAnswers)
{
    startGateway();
    std::vector<std::string> captures{dir.file("radio.pcap")};
    startRadio({"--pcap", captures.front()});
    const std::vector<std::vector<std::string>> steps{
        {"get-param", "gimbal-speed"}, {"set-param", "rocker-mode", "2"}, {"get-param", "rocker-mode"},
        {"system-time", "1700000000", "8"}, {"nest", "cabin", "1", "2"}, {"device-info"}};
    for (std::vector<std::string> words : steps) {
        captures.push_back(dir.file("app" + std::to_string(captures.size()) + ".pcap"));
        words.insert(words.begin(), {"--pcap", captures.back()});
        ASSERT_EQ(app(words).code, 0);
    }
    radio->stop();
    ASSERT_EQ(radio->exitCode(5000), 0);

    std::vector<std::string> replay{"replay", "--gateway-config", configPath, "--speed", "0", "--compare"};
    replay.insert(replay.end(), captures.begin(), captures.end());
    gateway.reset();
    startGateway();
    const SimResult same = sim(replay, false);
    EXPECT_EQ(same.code, 0) << same.output;
    EXPECT_NE(same.output.find("compare: all 12 answers as recorded"), std::string::npos) << same.output;

    // The first App capture ends with its answer; the gimbal speed in it is
    // the last 08 32 (field 1, varint 50).
    std::string changed = readFile(captures[1]);
    changed[changed.rfind(std::string{'\x08', '\x32'}) + 1] = '\x33';
    writeFile(captures[1], changed);
    gateway.reset();
    startGateway();
    const SimResult differs = sim(replay, false);
    EXPECT_EQ(differs.code, 1) << differs.output;
    for (const char* text : {"compare: answer 1 to the App (App PARAM_GET_MSG (1)) differs from the recorded one:\n",
                             "\n    recorded:     value: 51\n    replayed:     value: 50\n",
                             "compare: differences: 1 (answers recorded: 12)\n"}) {
        EXPECT_NE(differs.output.find(text), std::string::npos) << text << " in:\n" << differs.output;
    }
}

TEST_F(SimulatorTest, RadioReportsReachTheApp)
{
    startGateway();
    SimChild listener({"app", "--config", configPath, "--count", "4", "--duration", "5000", "listen"},
                      dir.file("listen.out"));
    ASSERT_TRUE(waitBound({appPort})) << listener.output();
    // One round: stick state, RC state, a key event and a nest report, after
    // a key event with a broken CRC that the gateway drops.
    SimResult reports = sim({"radio", "--listen", "127.0.0.1:0", "--reports", "20", "--rounds", "1", "--bad-crc"});
    EXPECT_EQ(reports.code, 0) << reports.output;
    EXPECT_EQ(listener.exitCode(6000), 0) << listener.output();
    const std::string out = listener.output();
    for (const char* text : {"RC_HARDWARE_STATE_NTFY", "righthorizontalvalue: -660", "RC_STATE_NTFY",
                             "chargingvoltage: 8400", "buttontype: RC_BUTTON_TYPE_ZOOM_IN", "NEST_STATUS_INFO_NTFY",
                             "pressure: 101325"}) {
        EXPECT_NE(out.find(text), std::string::npos) << text << " in:\n" << out;
    }
    EXPECT_TRUE(gateway->waitForOutput("======XOLT_FRAMING_BAD_CRC, msgid: 144, sourceid: 14=========", 3000));
    // The broken key event (the photo key, sent first) never became a message.
    EXPECT_EQ(out.find("buttontype: RC_BUTTON_TYPE_PHOTO\n"), std::string::npos) << out;
}

TEST_F(SimulatorTest, TimeOutAndBadCommandLines)
{
    startGateway();
    // No radio side: the request goes out, no answer comes.
    SimResult timeout = sim({"app", "--timeout", "300", "get-param", "gimbal-speed"});
    EXPECT_EQ(timeout.code, 1) << timeout.output;
    EXPECT_NE(timeout.output.find("no answer with message_id PARAM_GET_MSG"), std::string::npos) << timeout.output;

    const struct {
        std::vector<std::string> args;
        const char* error;
    } bad[] = {
        {{"app", "get-param"}, "usage: get-param gimbal-speed|rocker-mode|PARAMETER"},
        {{"app", "set-param", "rocker-mode", "two"}, "'two' is not a 32-bit integer value"},
        {{"app", "nest", "cabin", "1"}, "usage: nest cabin NESTTYPE NESTACTION"},
        {{"app", "nest", "hatch", "1", "2"}, "'hatch' is not a nest command"},
        {{"app", "frobnicate"}, "unknown command 'frobnicate'"},
        {{"app", "--timeout", "soon", "pair"}, "option --timeout: 'soon' is not a whole number"},
        {{"app", "--gateway", "localhost", "pair"}, "is not an address of the form IP:PORT"},
        {{"app", "--bogus", "pair"}, "unknown option '--bogus'"},
        {{"radio", "--rounds", "2"}, "--rounds needs --reports"},
        {{"radio", "extra"}, "unexpected argument 'extra'"},
        {{"sideways"}, "unknown mode 'sideways'"},
    };
    for (const auto& row : bad) {
        SimResult r = sim(row.args, false);
        EXPECT_EQ(r.code, 2) << r.output;
        EXPECT_NE(r.output.find(row.error), std::string::npos) << r.output;
    }
    for (const char* mode : {"radio", "app"}) {
        SimResult help = sim({mode, "--help"}, false);
        EXPECT_EQ(help.code, 0);
        EXPECT_NE(help.output.find(std::string("usage: lumbrix-sim ") + mode), std::string::npos) << help.output;
    }
}

} // namespace
