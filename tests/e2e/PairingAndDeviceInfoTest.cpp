// Pairing, quick-match and device information through the real gateway: the
// App's requests become AT command frames (msgid 200) and the version query
// (msgid 219); the radio's AT answers (msgid 201) and version answer (msgid
// 219) become App messages carrying the stored sequences. Expected frames are
// written out by hand: header checksum seq + 246 (pairing), seq + 6 (version
// query), seq + 109 (choose-connect), seq + 11 (clear blacklist); CRC closed
// with 131 (AT command) or 0 (version query).
#include <gtest/gtest.h>

#include <chrono>

#include "GatewayHarness.h"
#include "TestMessages.h"

namespace {

namespace qp = quelby::protocol;

constexpr uint32_t kStartMatching = 0x7001F;
constexpr uint32_t kMatchingStatusNtfy = 0x70020;
constexpr uint32_t kButtonInfoNtfy = 0x90001;
constexpr uint32_t kDeviceInfoQuery = 0x90003;
constexpr uint32_t kChooseConnect = 0x90008;
constexpr uint32_t kClearBlacklist = 0x90009;
constexpr uint8_t kRc = 14;
constexpr uint8_t kApp = 32;
constexpr uint8_t kAtRespCrc = 47;
constexpr uint8_t kVersionsCrc = 0;

std::vector<uint8_t> atAnswer(const std::vector<uint8_t>& payload)
{
    return radioFrame(0, kApp, kRc, 201, payload, kAtRespCrc);
}

std::vector<uint8_t> versions(const std::vector<uint8_t>& payload)
{
    return radioFrame(0, kApp, kRc, 219, payload, kVersionsCrc);
}

// Five header bytes (device type 3 and the four lengths) and the strings.
std::vector<uint8_t> versionPayload(int trans, int rc, int mcu, int motor, const std::string& data)
{
    std::vector<uint8_t> p = bytes({3, trans, rc, mcu, motor});
    p.insert(p.end(), data.begin(), data.end());
    return p;
}

// The version answer's list, from the SUCCESS response under the button-event
// id that carries it.
::testing::AssertionResult receiveVersions(GatewayHarness& h, int32_t sequence, qp::DroneVersionInfo& info,
                                           std::string* raw = nullptr)
{
    qp::QuelbyMessage env;
    ::testing::AssertionResult header = receiveEnvelope(h, env, 2, kButtonInfoNtfy, sequence, raw);
    if (!header) {
        return header;
    }
    qp::RspMessage rsp;
    if (!parseBody(env, rsp) || rsp.status_code() != qp::SUCCESS || rsp.module_id() != 0 ||
        rsp.result_code() != 0 || !info.ParseFromString(rsp.data())) {
        return ::testing::AssertionFailure() << "response: " << rsp.ShortDebugString();
    }
    return ::testing::AssertionSuccess();
}

struct Item {
    int component;
    std::string version;
    bool operator==(const Item& o) const { return component == o.component && version == o.version; }
};

std::ostream& operator<<(std::ostream& os, const Item& item)
{
    return os << "{" << item.component << ", \"" << item.version << "\"}";
}

std::vector<Item> items(const qp::DroneVersionInfo& info)
{
    std::vector<Item> out;
    for (const qp::DroneVersionItem& item : info.versioninfolist()) {
        out.push_back({item.componentid(), item.softwareversion()});
    }
    return out;
}

TEST(Pairing, StartMatchingAndTheAtAnswers)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    qp::QuelbyMessage env;
    qp::RspMessage rsp;

    // An answer before any request carries the initial -1.
    ASSERT_TRUE(h.sendFrame(atAnswer(bytes({1, 0}))));
    ASSERT_TRUE(receiveEnvelope(h, env, 2, kStartMatching, -1));

    ASSERT_TRUE(h.sendEnvelope(appRequest(kStartMatching, 7)));
    EXPECT_EQ(bytes({0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0xC8, 0xF6, 0x01, 0x00, 0x00, 0x2B, 0x75}), receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("开始对频： id： 458783\n")) << h.output();
    EXPECT_TRUE(h.waitForOutput("Start Matching, id： 458783")) << h.output();
    EXPECT_TRUE(h.waitForOutput("Send msg to transmit, DestServiceID: 2, bytes: 13")) << h.output();

    // The radio's data is not looked at: always SUCCESS.
    ASSERT_TRUE(h.sendFrame(atAnswer(bytes({1, 0xEE, 0xEE}))));
    ASSERT_TRUE(receiveEnvelope(h, env, 2, kStartMatching, 7));
    ASSERT_TRUE(parseBody(env, rsp));
    EXPECT_EQ(qp::SUCCESS, rsp.status_code());
    EXPECT_TRUE(rsp.data().empty());
    EXPECT_TRUE(h.waitForOutput("Remote control rc_key msg to app/main_ctrl. keyID:1")) << h.output();
    EXPECT_TRUE(h.waitForOutput("response of REQUEST_PAIR")) << h.output();
    EXPECT_TRUE(h.waitForOutput("send msg to App, msg size is ")) << h.output();

    // A response head type still pairs and still overwrites the sequence.
    ASSERT_TRUE(h.sendEnvelope(appRequest(kStartMatching, 8, nullptr, 2)));
    EXPECT_EQ(bytes({0xFD, 0x03, 0x00, 0x01, 0x0E, 0x20, 0xC8, 0xF7, 0x01, 0x00, 0x00, 0x92, 0x33}), receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("Parameter set msg, the head type is not request. head type:2")) << h.output();
    ASSERT_TRUE(h.sendFrame(atAnswer(bytes({1}))));
    ASSERT_TRUE(receiveEnvelope(h, env, 2, kStartMatching, 8));

    // The four setting answers: the bare envelope under the button-event id.
    for (int command : {2, 3, 4, 5}) {
        SCOPED_TRACE(command);
        ASSERT_TRUE(h.sendFrame(atAnswer(bytes({command, 1, 2, 3}))));
        ASSERT_TRUE(receiveEnvelope(h, env, 2, kButtonInfoNtfy, 0));
        EXPECT_FALSE(env.has_data());
    }

    // Progress: a signed byte in a ParameterInt32 of its own.
    const std::pair<int, int> progress[] = {{0xFF, -1}, {100, 100}, {0x80, -128}, {0, 0}};
    for (const auto& p : progress) {
        SCOPED_TRACE(p.first);
        ASSERT_TRUE(h.sendFrame(atAnswer(bytes({6, p.first}))));
        ASSERT_TRUE(receiveEnvelope(h, env, 3, kMatchingStatusNtfy, 0));
        qp::ParameterInt32 value;
        ASSERT_TRUE(parseBody(env, value));
        EXPECT_EQ(p.second, value.value());
    }
    EXPECT_TRUE(h.waitForOutput("case PAIR_PROGRESS_REPORT")) << h.output();

    // Other types: logged with the raw byte, nothing sent.
    ASSERT_TRUE(h.sendFrame(atAnswer(bytes({7, 1}))));
    EXPECT_TRUE(h.waitForOutput("key_id \x07 is not support.")) << h.output();
    ASSERT_TRUE(h.sendFrame(atAnswer(bytes({'A'}))));
    EXPECT_TRUE(h.waitForOutput("key_id A is not support.")) << h.output();
    ASSERT_TRUE(h.sendFrame(atAnswer(bytes({0}))));
    ASSERT_TRUE(h.sendFrame(atAnswer(bytes({255, 1}))));
    EXPECT_TRUE(h.app.drain(150).empty());
    EXPECT_EQ(std::string::npos, h.output().find("key_id 7 is not support."));

    // Still serving.
    ASSERT_TRUE(h.sendFrame(atAnswer(bytes({1}))));
    ASSERT_TRUE(receiveEnvelope(h, env, 2, kStartMatching, 8));
}

TEST(QuickMatch, ChooseConnectAndClearBlacklistGoToComponent35)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();

    qp::ParameterInt32 choice;
    choice.set_value(2);
    ASSERT_TRUE(h.sendEnvelope(appRequest(kChooseConnect, 21, &choice)));
    std::vector<uint8_t> expected = bytes({0xFD, 0x65, 0x00, 0x00, 0x23, 0x20, 0xC8, 0x6D, 0x07, 0x02});
    expected.resize(10 + 99, 0);
    expected.push_back(0x64);
    expected.push_back(0x53);
    EXPECT_EQ(expected, receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("RC_QUICK_MATCH_CHOOSE_CONNECT_MSG request")) << h.output();
    EXPECT_TRUE(h.waitForOutput("Send msg to transmit, DestServiceID: 2, bytes: 111")) << h.output();

    // Only the value's low byte is sent; the head type is only logged.
    choice.set_value(511);
    ASSERT_TRUE(h.sendEnvelope(appRequest(kChooseConnect, 22, &choice, 3)));
    expected = bytes({0xFD, 0x65, 0x00, 0x01, 0x23, 0x20, 0xC8, 0x6E, 0x07, 0xFF});
    expected.resize(10 + 99, 0);
    expected.push_back(0x59);
    expected.push_back(0xA2);
    EXPECT_EQ(expected, receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("Parameter set msg, the head type is not request. head type:3")) << h.output();

    // The blacklist request logs the choose-connect line too.
    ASSERT_TRUE(h.sendEnvelope(appRequest(kClearBlacklist, 23)));
    EXPECT_EQ(bytes({0xFD, 0x03, 0x00, 0x00, 0x23, 0x20, 0xC8, 0x0B, 0x08, 0x00, 0x00, 0xB7, 0x63}), receiveFrame(h));
    ASSERT_TRUE(h.sendEnvelope(appRequest(kClearBlacklist, 24)));
    EXPECT_EQ(bytes({0xFD, 0x03, 0x00, 0x01, 0x23, 0x20, 0xC8, 0x0C, 0x08, 0x00, 0x00, 0x96, 0x1E}), receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("Send msg to transmit, DestServiceID: 2, bytes: 13")) << h.output();
    EXPECT_EQ(4u, countOccurrences(h.output(), "RC_QUICK_MATCH_CHOOSE_CONNECT_MSG request"));
    EXPECT_TRUE(h.app.drain(100).empty());
}

TEST(DeviceInfo, QueryAndVersionAnswer)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    qp::DroneVersionInfo info;

    // An answer before any query carries the initial -1.
    ASSERT_TRUE(h.sendFrame(versions(versionPayload(0, 0, 0, 0, ""))));
    ASSERT_TRUE(receiveVersions(h, -1, info));

    // Two queries before the answer: it carries the second one's sequence.
    ASSERT_TRUE(h.sendEnvelope(appRequest(kDeviceInfoQuery, 11)));
    EXPECT_EQ(bytes({0xFD, 0x00, 0x00, 0x00, 0x0E, 0x20, 0xDB, 0x06, 0x1E, 0x60}), receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("获取遥控器系统信息\n")) << h.output();
    EXPECT_TRUE(h.waitForOutput("Device Info Query")) << h.output();
    EXPECT_TRUE(h.waitForOutput("Send msg to transmit, DestServiceID: 2, bytes: 10")) << h.output();
    ASSERT_TRUE(h.sendEnvelope(appRequest(kDeviceInfoQuery, 12, nullptr, 2)));
    EXPECT_EQ(bytes({0xFD, 0x00, 0x00, 0x01, 0x0E, 0x20, 0xDB, 0x07, 0xED, 0x7D}), receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("Parameter set msg, the head type is not request. head type:2")) << h.output();

    // Items in the order transmitter, RC, MCU, motor; the log line shows the
    // lengths as trans, mcu, rc, motor.
    ASSERT_TRUE(h.sendFrame(versions(versionPayload(5, 6, 7, 8, "T-1.0RC-2.0MCU-3.0MOT-4.00"))));
    ASSERT_TRUE(receiveVersions(h, 12, info));
    EXPECT_EQ((std::vector<Item>{{1102, "T-1.0"}, {1100, "RC-2.0"}, {1101, "MCU-3.0"}, {1103, "MOT-4.00"}}),
              items(info));
    EXPECT_TRUE(h.waitForOutput(
        "payload len: 31,trans len:5,mcu len:7,rc len:6,motor len:8,data:T-1.0RC-2.0MCU-3.0MOT-4.00"))
        << h.output();
    EXPECT_TRUE(h.waitForOutput(std::string("data[0]:\x03 , 3\ndata[1]:\x05 , 5\n") +
                                "data[2]:\x06 , 6\ndata[3]:\x07 , 7\ndata[4]:\x08 , 8\ndata[5]:T , 54\n"))
        << h.output();
    EXPECT_TRUE(h.waitForOutput("data[30]:0 , 30\n[Remote Version] versioninfolist {\n"
                                "  componentid: COMPONENT_TRANSMIT\n  softwareversion: \"T-1.0\"\n}\n"))
        << h.output();
    EXPECT_TRUE(h.waitForOutput("send msg to app, msg size is ")) << h.output();

    // Zero lengths add no item; the answer is SUCCESS all the same.
    ASSERT_TRUE(h.sendFrame(versions(versionPayload(0, 4, 0, 0, "RC01"))));
    ASSERT_TRUE(receiveVersions(h, 12, info));
    EXPECT_EQ((std::vector<Item>{{1100, "RC01"}}), items(info));
    ASSERT_TRUE(h.sendFrame(versions(versionPayload(0, 0, 0, 0, ""))));
    ASSERT_TRUE(receiveVersions(h, 12, info));
    EXPECT_TRUE(items(info).empty());
    EXPECT_TRUE(h.waitForOutput("[Remote Version] \n")) << h.output();
}

TEST(DeviceInfo, HostileLengthsAreCutToTheFieldAndThePayload)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    qp::DroneVersionInfo info;
    std::string raw;

    // Fill the receive record with 'Z': no later answer may show one.
    ASSERT_TRUE(h.sendFrame(versions(versionPayload(0, 0, 0, 0, std::string(400, 'Z')))));
    ASSERT_TRUE(receiveVersions(h, -1, info));

    struct Case {
        const char* name;
        std::vector<uint8_t> payload;
        std::vector<Item> expected;
    };
    const std::string alpha = "abcdefghijklmnopqrstuvwxyz0123";
    const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ4567";
    std::vector<Case> cases = {
        {"every length 255, ten bytes carried", versionPayload(255, 255, 255, 255, "ABCDEFGHIJ"),
         {{1102, "ABCDEFGHIJ"}, {1100, ""}, {1101, ""}, {1103, ""}}},
        {"longer than the field", versionPayload(30, 30, 0, 0, alpha + upper),
         {{1102, "abcdefghijklmnopqrst"}, {1100, "ABCDEFGHIJKLMNOPQRST"}}},
        {"sum beyond the payload", versionPayload(3, 3, 3, 3, "abcdefg"),
         {{1102, "abc"}, {1100, "def"}, {1101, "g"}, {1103, ""}}},
    };
    std::vector<uint8_t> full = versionPayload(255, 255, 255, 255, std::string(507, 'Y'));
    cases.push_back({"whole 512-byte payload", full, {{1102, std::string(20, 'Y')}, {1100, std::string(20, 'Y')},
                                                      {1101, ""}, {1103, ""}}});

    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(h.sendFrame(versions(c.payload)));
        ASSERT_TRUE(receiveVersions(h, -1, info, &raw));
        EXPECT_EQ(c.expected, items(info));
        EXPECT_EQ(std::string::npos, raw.find('Z'));
    }
    EXPECT_TRUE(h.waitForOutput("payload len: 15,trans len:255,mcu len:255,rc len:255,motor len:255,data:ABCDEFGHIJ"))
        << h.output();

    // Still serving.
    ASSERT_TRUE(h.sendEnvelope(appRequest(kDeviceInfoQuery, 5)));
    EXPECT_EQ(bytes({0xFD, 0x00, 0x00, 0x00, 0x0E, 0x20, 0xDB, 0x06, 0x1E, 0x60}), receiveFrame(h));
    ASSERT_TRUE(h.sendFrame(versions(versionPayload(0, 0, 3, 0, "1.2"))));
    ASSERT_TRUE(receiveVersions(h, 5, info));
    EXPECT_EQ((std::vector<Item>{{1101, "1.2"}}), items(info));
    EXPECT_TRUE(h.process->running());
}

} // namespace
