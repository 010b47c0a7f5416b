// The simulator against the real gateway: lumbrix-sim in radio mode answers
// the gateway's frames, and one `lumbrix-sim app ...` per family of messages
// must get its answer through the gateway (exit code 0 and the decoded
// answer in its output). Also: the radio's report rounds, the replay of a
// recorded session, a time-out when no radio answers, and clear errors for
// bad command lines. The simulators take the ports of the harness's stand-in
// radio side and App, and their addresses from the gateway's configuration.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <thread>
#include <sys/wait.h>

#include "GatewayHarness.h"

namespace {

struct SimResult {
    int code; // -1: still running, -2: ended by a signal
    std::string output;
};

// The output holds every text.
testing::AssertionResult holds(const std::string& output, const std::vector<std::string>& texts)
{
    for (const std::string& text : texts) {
        if (output.find(text) == std::string::npos) {
            return testing::AssertionFailure() << "no \"" << text << "\" in:\n" << output;
        }
    }
    return testing::AssertionSuccess();
}

class SimulatorTest : public testing::Test {
protected:
    void SetUp() override
    {
        h.radio.close();
        h.app.close();
        ASSERT_TRUE(h.start("Info")) << h.output();
    }

    // A simulator in the background (through LUMBRIX_EXEC_WRAPPER as well),
    // once it holds the port it listens on.
    std::unique_ptr<GatewayProcess> spawn(const std::vector<std::string>& args, const std::string& name, uint16_t port)
    {
        auto child = std::make_unique<GatewayProcess>(args, h.dir.file(name), "", LUMBRIX_SIM_BINARY);
        EXPECT_EQ(child->holdPorts({port}, 5000), CChildProcess::E_PORTS_HELD) << child->output();
        return child;
    }

    std::unique_ptr<GatewayProcess> startRadio(std::vector<std::string> extra = {})
    {
        extra.insert(extra.begin(), {"radio", "--config", h.configPath, "--duration", "60000"});
        return spawn(extra, "radio.out", h.radio.port());
    }

    static int exitCode(GatewayProcess& child, int timeoutMs, int sig = 0)
    {
        if (sig != 0) {
            child.signal(sig);
        }
        const int status = child.waitExit(timeoutMs);
        return status == -1 ? -1 : WIFEXITED(status) ? WEXITSTATUS(status) : -2;
    }

    // One simulator run to its end (bounded).
    SimResult sim(const std::vector<std::string>& args)
    {
        GatewayProcess child(args, h.dir.file("sim.out"), "", LUMBRIX_SIM_BINARY);
        return {exitCode(child, 10000), child.output()};
    }

    SimResult app(std::vector<std::string> words)
    {
        words.insert(words.begin(),
                     {"app", "--config", h.configPath, "--seq", std::to_string(++sequence), "--timeout", "3000"});
        return sim(words);
    }

    GatewayHarness h;
    int sequence = 40;
};

// The session of every family (kit/every-family.session), row by row.
TEST_F(SimulatorTest, EveryFamilyIsAnsweredThroughTheGateway)
{
    std::unique_ptr<GatewayProcess> radio = startRadio();
    std::istringstream session(readFile(LUMBRIX_SOURCE_DIR "/kit/every-family.session"));
    int rows = 0;
    for (std::string line; std::getline(session, line);) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::vector<std::string> column(3), words, texts;
        std::istringstream columns(line);
        for (std::string& c : column) {
            std::getline(columns, c, '|');
        }
        std::istringstream wordList(column[1]), textList(column[2]);
        words.assign(std::istream_iterator<std::string>(wordList), {});
        for (std::string text; std::getline(textList, text, ';');) {
            text.erase(0, text.find_first_not_of(' '));
            texts.push_back(text.erase(text.find_last_not_of(' ') + 1));
        }
        ++rows;
        const SimResult r = app(words);
        EXPECT_EQ(r.code, 0) << column[0] << "\n" << r.output;
        EXPECT_TRUE(holds(r.output, texts)) << column[0];
    }
    EXPECT_GE(rows, 15);
    // The radio printed the frames the gateway built; set gimbal speed is
    // closed with CRC extra 150 and the radio still takes it.
    EXPECT_TRUE(holds(
        radio->output(),
        {"gateway -> radio: 150 RC settings request RC_CMD_GET_GIMBAL_SPEED (seq 0)\n    fd 03 00 00 0e 20 96 c4 02 00 00 c9 3a",
         "fd 00 00 00 0e 20 db 06 1e 60", "RC_CMD_SET_GIMBAL_SPEED: speed 60"}));
    EXPECT_EQ(exitCode(*radio, 5000, SIGTERM), 0);
}

// A session recorded, as rows: by the simulators' --pcap (one capture per
// process), and by the gateway itself ("record"); replayed against a fresh
// gateway of the same configuration, every answer as recorded. With one
// byte of a recorded answer changed (the gimbal speed told to the App, 50
// to 51) the replay fails and says where.
TEST_F(SimulatorTest, ReplayOfARecordedSessionComparesTheAnswers)
{
    std::vector<std::string> captures;
    for (const bool byGateway : {true, false}) {
        const std::string recording = h.dir.file("gateway.pcap");
        h.extraConfig = byGateway ? "\"record\": {\"enable\": true, \"file\": \"" + recording + "\"}" : "";
        ASSERT_TRUE(h.start("Info")) << h.output();
        captures = {h.dir.file("radio.pcap")};
        std::unique_ptr<GatewayProcess> radio =
            startRadio(byGateway ? std::vector<std::string>{} : std::vector<std::string>{"--pcap", captures.front()});
        for (std::vector<std::string> words : std::vector<std::vector<std::string>>{{"get-param", "gimbal-speed"},
                                                                                    {"set-param", "rocker-mode", "2"},
                                                                                    {"get-param", "rocker-mode"},
                                                                                    {"system-time", "1700000000", "8"},
                                                                                    {"nest", "cabin", "1", "2"},
                                                                                    {"device-info"}}) {
            captures.push_back(h.dir.file("app" + std::to_string(captures.size()) + ".pcap"));
            if (!byGateway) {
                words.insert(words.begin(), {"--pcap", captures.back()});
            }
            ASSERT_EQ(app(words).code, 0);
        }
        ASSERT_EQ(exitCode(*radio, 5000, SIGTERM), 0);
        if (byGateway) {
            // The recorder thread writes what it holds within 100 ms.
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            captures = {h.dir.file("copy.pcap")};
            writeFile(captures.front(), readFile(recording));
        }

        std::vector<std::string> replay{"replay", "--gateway-config", h.configPath, "--speed", "0", "--compare"};
        replay.insert(replay.end(), captures.begin(), captures.end());
        ASSERT_TRUE(h.start("Info")) << h.output();
        const SimResult same = sim(replay);
        EXPECT_EQ(same.code, 0) << same.output;
        EXPECT_TRUE(holds(same.output, {"compare: all 12 answers as recorded"}))
            << "recorded by the gateway: " << byGateway;
    }

    // The first App capture ends with its answer; the gimbal speed in it is
    // the last 08 32 (field 1, varint 50).
    std::string changed = readFile(captures[1]);
    changed[changed.rfind(std::string{'\x08', '\x32'}) + 1] = '\x33';
    writeFile(captures[1], changed);
    ASSERT_TRUE(h.start("Info")) << h.output();
    std::vector<std::string> replay{"replay", "--gateway-config", h.configPath, "--speed", "0", "--compare"};
    replay.insert(replay.end(), captures.begin(), captures.end());
    const SimResult differs = sim(replay);
    EXPECT_EQ(differs.code, 1);
    EXPECT_TRUE(
        holds(differs.output, {"compare: answer 1 to the App (App PARAM_GET_MSG (1)) differs from the recorded one:\n",
                               "\n    recorded:     value: 51\n    replayed:     value: 50\n",
                               "compare: differences: 1 (answers recorded: 12)\n"}));
}

// Every recording of tests/e2e/recordings/NAME/ (tools/add-recording-test.sh
// puts them there: the configuration of the gateway that made it and its
// capture files) replayed against a fresh gateway: every answer as recorded.
TEST_F(SimulatorTest, RecordingsReplayAsRecorded)
{
    for (const auto& dir : std::filesystem::directory_iterator(LUMBRIX_SOURCE_DIR "/tests/e2e/recordings")) {
        std::vector<std::string> replay{"replay",
                                        "--gateway-config",
                                        h.configPath,
                                        "--capture-config",
                                        (dir.path() / "lumbrix.json").string(),
                                        "--speed",
                                        "0",
                                        "--compare"};
        for (const auto& file : std::filesystem::directory_iterator(dir.path())) {
            if (file.path().filename() != "lumbrix.json") {
                replay.push_back(file.path().string());
            }
        }
        ASSERT_TRUE(h.start("Info")) << h.output();
        const SimResult r = sim(replay);
        EXPECT_EQ(r.code, 0) << dir.path() << "\n" << r.output;
        EXPECT_TRUE(holds(r.output, {"compare: all "})) << dir.path();
    }
}

TEST_F(SimulatorTest, RadioReportsReachTheApp)
{
    std::unique_ptr<GatewayProcess> listener = spawn(
        {"app", "--config", h.configPath, "--count", "4", "--duration", "5000", "listen"}, "listen.out", h.app.port());
    // One round: stick state, RC state, a key event and a nest report, after
    // a key event with a broken CRC that the gateway drops.
    EXPECT_EQ(sim({"radio", "--config", h.configPath, "--listen", "127.0.0.1:0", "--reports", "20", "--rounds", "1",
                   "--bad-crc"})
                  .code,
              0);
    EXPECT_EQ(exitCode(*listener, 6000), 0);
    EXPECT_TRUE(holds(listener->output(),
                      {"RC_HARDWARE_STATE_NTFY", "righthorizontalvalue: -660", "RC_STATE_NTFY", "chargingvoltage: 8400",
                       "buttontype: RC_BUTTON_TYPE_ZOOM_IN", "NEST_STATUS_INFO_NTFY", "pressure: 101325"}));
    EXPECT_TRUE(within(
        3000, [&] { return h.output().find("XOLT_FRAMING_BAD_CRC, msgid: 144, sourceid: 14=") != std::string::npos; }));
    // The broken key event (the photo key, sent first) never became a message.
    EXPECT_FALSE(holds(listener->output(), {"buttontype: RC_BUTTON_TYPE_PHOTO\n"}));
}

TEST_F(SimulatorTest, TimeOutAndBadCommandLines)
{
    // No radio side: the request goes out, no answer comes.
    const std::vector<std::tuple<std::vector<std::string>, int, std::string>> rows = {
        {{"app", "--config", h.configPath, "--timeout", "300", "get-param", "gimbal-speed"},
         1,
         "no answer with message_id PARAM_GET_MSG"},
        {{"app", "get-param"}, 2, "usage: get-param gimbal-speed|rocker-mode|PARAMETER"},
        {{"app", "set-param", "rocker-mode", "two"}, 2, "'two' is not a 32-bit integer value"},
        {{"app", "nest", "cabin", "1"}, 2, "usage: nest cabin NESTTYPE NESTACTION"},
        {{"app", "nest", "hatch", "1", "2"}, 2, "'hatch' is not a nest command"},
        {{"app", "frobnicate"}, 2, "unknown command 'frobnicate'"},
        {{"app", "--timeout", "soon", "pair"}, 2, "option --timeout: 'soon' is not a whole number"},
        {{"app", "--gateway", "localhost", "pair"}, 2, "is not an address of the form IP:PORT"},
        {{"app", "--bogus", "pair"}, 2, "unknown option '--bogus'"},
        {{"radio", "--rounds", "2"}, 2, "--rounds needs --reports"},
        {{"radio", "extra"}, 2, "unexpected argument 'extra'"},
        {{"sideways"}, 2, "unknown mode 'sideways'"},
        {{"radio", "--help"}, 0, "usage: lumbrix-sim radio"},
        {{"app", "--help"}, 0, "usage: lumbrix-sim app"},
    };
    for (const auto& [args, code, text] : rows) {
        const SimResult r = sim(args);
        EXPECT_EQ(r.code, code) << r.output;
        EXPECT_TRUE(holds(r.output, {text}));
    }
}

} // namespace
