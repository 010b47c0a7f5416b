// The nest through the real gateway: every App command becomes its frame to
// the nest, the stick relay, and the nest's acknowledgements answered with
// the right App id and the sequence of the request they belong to.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "GatewayHarness.h"
#include "TestMessages.h"

namespace {

using namespace quelby::protocol;

const int WAIT_MS = 2000;

size_t countOf(const std::string& text, const std::string& what)
{
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size())) {
        ++count;
    }
    return count;
}

std::shared_ptr<NestCommand> nestCommand(int32_t type, int32_t action)
{
    auto body = std::make_shared<NestCommand>();
    body->set_nesttype(type);
    body->set_nestaction(action);
    return body;
}

// An acknowledgement frame from the nest: command, result and padding.
std::vector<uint8_t> ackFrame(uint8_t seq, std::vector<uint8_t> payload)
{
    return radioFrame(seq, 32, 35, 183, payload, 123);
}

class NestTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(h.start("Debug")) << h.output(); }

    std::string frameFor(const std::string& envelope)
    {
        EXPECT_TRUE(h.sendEnvelope(envelope));
        std::string frame;
        EXPECT_TRUE(h.radio.receive(frame, WAIT_MS)) << h.output();
        return frame;
    }

    // Sends one acknowledgement and returns the App's answer.
    QuelbyMessage answerTo(const std::vector<uint8_t>& ack)
    {
        EXPECT_TRUE(h.sendFrame(ack));
        std::string datagram;
        QuelbyMessage answer;
        EXPECT_TRUE(h.app.receive(datagram, WAIT_MS)) << h.output();
        EXPECT_TRUE(parseEnvelope(datagram, answer));
        return answer;
    }

    static void expectResponseHead(const QuelbyMessage& m, uint32_t messageId, int32_t sequence)
    {
        const CommonHead& head = m.head_data();
        EXPECT_EQ("nest", head.token());
        EXPECT_EQ(2, head.head_type());
        EXPECT_EQ(0, head.device_id());
        EXPECT_EQ(2, head.source_id());
        EXPECT_EQ(0, head.version());
        EXPECT_EQ(messageId, static_cast<uint32_t>(head.message_id()));
        EXPECT_EQ(sequence, head.message_sequence());
        const int64_t now =
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
                .count();
        EXPECT_NEAR(static_cast<double>(now), static_cast<double>(head.time_stamp()), 10000.0);
    }

    static void expectStatus(const QuelbyMessage& m, StatusCode status, int32_t resultCode)
    {
        RspMessage rsp;
        ASSERT_TRUE(m.has_data());
        ASSERT_TRUE(parseBody(m, rsp));
        EXPECT_EQ(status, rsp.status_code());
        EXPECT_EQ(resultCode, rsp.result_code());
    }

    GatewayHarness h;
};

TEST_F(NestTest, EveryCommandSendsItsFrame)
{
    struct Case {
        uint32_t messageId;
        std::shared_ptr<google::protobuf::Message> body;
        std::vector<uint8_t> frame;
        std::vector<std::string> lines;
    };
    auto reset = std::make_shared<NestResetCommand>();
    reset->set_nesttype(2);
    auto calibrate = std::make_shared<NestCalibrateOperation>();
    calibrate->set_nesttype(1);
    calibrate->set_nestaction(3);
    auto single = std::make_shared<NestSingleCalibration>();
    single->set_nesttype(1);
    single->set_nestcomponents(2);
    single->set_direction(1);
    auto config = std::make_shared<NestSystemConfig>();
    config->set_nesttype(1);
    config->set_airopenlimit(35);
    config->set_aircloselimit(25);
    config->set_unixtime(0x12345678);
    config->set_autodischarge(1);
    config->set_autocharge(0);
    auto wait = std::make_shared<NestWaitTime>();
    wait->set_waittime(30);

    // Each handler numbers its own frames, so every first frame has seq 0.
    const std::vector<Case> cases = {
        {0xC0001, nestCommand(1, 2),
         bytes({0xFD, 0x03, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xF9, 0x01, 0x01, 0x02, 0xF6, 0xBF}),
         {"Nest Cabin control request"}},
        // nestaction -1 goes out as its low byte.
        {0xC0002, nestCommand(3, -1),
         bytes({0xFD, 0x03, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xF9, 0x02, 0x03, 0xFF, 0xF3, 0xE3}),
         {"Nest Xrod control request"}},
        {0xC0003, nestCommand(5, 6),
         bytes({0xFD, 0x03, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xF9, 0x03, 0x05, 0x06, 0x81, 0x82}),
         {"Nest Yrod control request"}},
        // nestaction 258 goes out as 2.
        {0xC0004, nestCommand(7, 258),
         bytes({0xFD, 0x03, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xF9, 0x08, 0x07, 0x02, 0x4C, 0x90}),
         {"Nest Zrod control request", "Zrod Control type: 7, action: 258"}},
        {0xC0005, nestCommand(9, 1),
         bytes({0xFD, 0x04, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xFA, 0x12, 0xAA, 0x55, 0x01, 0x23, 0x1C}),
         {"Nest Charge control request"}},
        {0xC0006, reset, bytes({0xFD, 0x03, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xF9, 0x11, 0xAA, 0x55, 0xD9, 0xC4}),
         {"Nest Reset control request", "nest type: 2"}},
        {0xC0007, calibrate,
         bytes({0xFD, 0x04, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xFA, 0x09, 0xAA, 0x55, 0x03, 0x3F, 0xDC}),
         {"Nest CalibrationOperation control request", "nest type: 1, action: 3"}},
        {0xC0008, single,
         bytes({0xFD, 0x05, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xFB, 0x0A, 0xAA, 0x55, 0x02, 0x01, 0xF3, 0xC1}),
         {"Nest SingleCalibration control request", "nest type: 1, component: 2, direction: 1"}},
        // unixtime little-endian in payload bytes 5 to 8.
        {0xC0009, config,
         bytes({0xFD, 0x0B, 0x00, 0x00, 0x23, 0x20, 0xB6, 0x01, 0x10, 0xAA, 0x55, 0x23, 0x19, 0x78, 0x56, 0x34, 0x12,
                0x01, 0x00, 0x33, 0x19}),
         {"Nest SystemConfig control request", "nest type: 1\n airOpenLimit: 35\n airCloseLimit: 25\n unixTime: "
                                               "305419896\n autoDischarge: 1\n autoCharge: 0"}},
        {0xC000A, nestCommand(1, 1),
         bytes({0xFD, 0x04, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xFA, 0x13, 0xAA, 0x55, 0x01, 0x67, 0x17}),
         {"Nest TurnOnOff control request", "nest type: 1,action: 1"}},
        {0xC000B, nestCommand(4, 0),
         bytes({0xFD, 0x04, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xFA, 0x14, 0xAA, 0x55, 0x00, 0x63, 0x3E}),
         {"Nest AcControl control request", "nest type: 4,action: 0"}},
        {0xC000C, nestCommand(1, 1),
         bytes({0xFD, 0x04, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xFA, 0x15, 0xAA, 0x55, 0x01, 0xFF, 0x2C}),
         {"Nest ScramControl  request"}},
        {0xC000D, nestCommand(1, 5),
         bytes({0xFD, 0x04, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xFA, 0x30, 0xAA, 0x55, 0x05, 0x5A, 0x0D}),
         {"Nest AutoCommand control request", "nest type: 1,action: 5"}},
        {0xC000E, nestCommand(6, 1),
         bytes({0xFD, 0x04, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xFA, 0x07, 0xAA, 0x55, 0x01, 0x37, 0x8E}),
         {"Nest MotorToZero control request", "nest type: 6,action: 1"}},
        // The wait time never reaches the wire.
        {0xC0011, wait, bytes({0xFD, 0x03, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xF9, 0x18, 0xAA, 0x55, 0xBA, 0x3D}),
         {"Wait time info: 30"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.messageId);
        EXPECT_EQ(hexOf(toString(c.frame)), hexOf(frameFor(appRequest(c.messageId, 1, c.body.get()))));
        for (const std::string& line : c.lines) {
            EXPECT_TRUE(h.waitForOutput(line)) << line;
        }
    }
    EXPECT_TRUE(h.waitForOutput("Send msg to transmit, DestServiceID: 2, bytes: 21"));
    EXPECT_EQ(6u, countOf(h.output(), "Send msg to transmit, DestServiceID: 2, bytes: 13"));
    EXPECT_EQ(7u, countOf(h.output(), "Send msg to transmit, DestServiceID: 2, bytes: 14"));
    EXPECT_EQ(1u, countOf(h.output(), "Send msg to transmit, DestServiceID: 2, bytes: 15"));
    EXPECT_EQ(0u, countOf(h.output(), "head type is not request"));

    // Second frames of one handler: seq 1. A wait time of 0 gives the same
    // bytes as 30 apart from seq and CRC.
    EXPECT_EQ("FD030001" "2320B6FA" "010102C7EF", hexOf(frameFor(appRequest(0xC0001, 2, nestCommand(1, 2).get()))));
    wait->set_waittime(0);
    EXPECT_EQ("FD030001" "2320B6FA" "18AA558B6D", hexOf(frameFor(appRequest(0xC0011, 2, wait.get()))));
}

TEST_F(NestTest, CommandsAreNeverRefused)
{
    // Head type "response": logged, still sent, and its sequence still waits
    // for the acknowledgement.
    EXPECT_EQ(hexOf(toString(bytes({0xFD, 0x03, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xF9, 0x01, 0x01, 0x02, 0xF6, 0xBF}))),
              hexOf(frameFor(appRequest(0xC0001, 41, nestCommand(1, 2).get(), 2))));
    EXPECT_TRUE(h.waitForOutput("Parameter set msg, the head type is not request. head type:2"));

    // No body, and a body that does not parse: the command goes out with zeros.
    EXPECT_EQ("FD030001" "2320B6FA" "010000AB86", hexOf(frameFor(appRequest(0xC0001, 42))));
    QuelbyMessage garbage;
    garbage.mutable_head_data()->set_head_type(1);
    garbage.mutable_head_data()->set_message_id(NEST_CHARGE_CONTROL_MSG);
    garbage.mutable_head_data()->set_message_sequence(43);
    garbage.mutable_data()->set_value(std::string("\xFF\xFF\xFF", 3));
    EXPECT_EQ("FD040000" "2320B6FA" "12AA5500" "FB05", hexOf(frameFor(garbage.SerializeAsString())));

    // All three sequences were queued, in order.
    QuelbyMessage answer = answerTo(ackFrame(0, bytes({1, 0})));
    expectResponseHead(answer, 0xC0001, 41);
    answer = answerTo(ackFrame(1, bytes({1, 0})));
    expectResponseHead(answer, 0xC0001, 42);
    answer = answerTo(ackFrame(2, bytes({18, 3})));
    expectResponseHead(answer, 0xC0005, 43);
    expectStatus(answer, ERROR, 3);
}

TEST_F(NestTest, StickRelayLogsEvery120thFrame)
{
    NestVirtualPoleStateNtfy sticks;
    sticks.set_rightverticalvalue(1000);
    sticks.set_leftverticalvalue(1024);
    sticks.set_lefthorizontalvalue(1100);
    sticks.set_righthorizontalvalue(-1);
    sticks.set_generalkey(0x10002);
    sticks.set_gimbalpitch(300);
    sticks.set_combinedkey(7);
    const std::string line = "Send msg to transmit, DestServiceID: 2, bytes: 24";

    // Order on the wire: left horizontal, right horizontal, right vertical,
    // left vertical, general key, gimbal pitch, combined key.
    EXPECT_EQ("FD0E0000" "232094E2" "4C04FFFFE8030004" "02002C010700" "8E2C",
              hexOf(frameFor(appRequest(0xC1009, 7, &sticks, 3))));
    EXPECT_EQ("FD0E0001" "232094E3" "4C04FFFFE8030004" "02002C010700" "C87D",
              hexOf(frameFor(appRequest(0xC1009, 8, &sticks, 3))));
    for (int i = 3; i <= 120; ++i) {
        ASSERT_EQ(24u, frameFor(appRequest(0xC1009, i, &sticks)).size());
    }
    EXPECT_EQ(1u, countOf(h.output(), line));
    ASSERT_EQ(24u, frameFor(appRequest(0xC1009, 121, &sticks)).size());
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(WAIT_MS);
    while (countOf(h.output(), line) < 2 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(2u, countOf(h.output(), line));

    // The relay queues nothing: a cabin acknowledgement finds no request.
    expectResponseHead(answerTo(ackFrame(0, bytes({1, 0}))), 0xC0001, 0);
}

TEST_F(NestTest, EveryCommandNumberIsAnsweredAsItsRowSays)
{
    struct Row {
        int command;
        uint32_t messageId; // 0: bare envelope
        const char* label;
    };
    const std::vector<Row> rows = {
        {1, 0xC0001, "response of NEST_CMD_HATCH_CONTROL"},
        {2, 0xC0002, "case NEST_CMD_LOCATION_ROD X"},
        {3, 0xC0003, "case NEST_CMD_CHARGE_ROD Y"},
        {4, 0, "case NEST_CMD_MOTOR_DRV_POWER"},
        {5, 0, "case NEST_CMD_MOTOR_DRV_RESET"},
        {6, 0, "case NEST_CMD_MOTOR_CONFIG"},
        {7, 0xC000E, "case NEST_CMD_MOTOR_LOCATION_ZERO"},
        {8, 0xC0004, "case NEST_CMD_PADDIES_ROD Z"},
        {9, 0xC0007, "case Calibration Operation"},
        {10, 0xC0008, "case Single Calibration"},
        {16, 0xC0008, "case NEST_CMD_SYSTEM_CONFIG"},
        {17, 0xC0006, "case NEST_CMD_SYSTEM_RESET"},
        {18, 0xC0005, "case NEST_CMD_AIRPLANE_CHARGE"},
        {19, 0xC000A, "case NEST_CMD_AIRPLANE_POWER"},
        {20, 0xC000B, "case NEST_CMD_AIR_CONDITIONER_POWER"},
        {21, 0xC000C, "case NEST_CMD_SOTF_STOP"},
        {24, 0xC0011, "case Z_rod wait time rsp"},
        {48, 0xC000D, "case NEST_CMD_AUTO_TASK"},
    };
    // Odd commands succeed, even ones fail with error code 200; nothing is
    // pending, so every answer carries sequence 0.
    for (int command = 0; command < 256; ++command) {
        std::vector<uint8_t> payload(257, 0);
        payload[0] = static_cast<uint8_t>(command);
        payload[1] = command % 2 ? 0 : 200;
        ASSERT_TRUE(h.sendFrame(ackFrame(static_cast<uint8_t>(command), payload)));
    }
    const std::vector<std::string> answers = h.app.drain(500);
    ASSERT_EQ(rows.size(), answers.size()) << h.output();
    for (size_t i = 0; i < rows.size(); ++i) {
        const Row& row = rows[i];
        SCOPED_TRACE(row.command);
        QuelbyMessage answer;
        ASSERT_TRUE(parseEnvelope(answers[i], answer));
        expectResponseHead(answer, row.messageId, 0);
        if (row.messageId == 0) {
            EXPECT_FALSE(answer.has_data());
        } else if (row.command % 2) {
            expectStatus(answer, SUCCESS, 0);
        } else {
            expectStatus(answer, ERROR, 200);
        }
        EXPECT_NE(std::string::npos, h.output().find(row.label));
    }
    const std::string out = h.output();
    EXPECT_EQ(15u, countOf(out, "Sequence Map is Empty!"));
    EXPECT_NE(std::string::npos, out.find("receive SUCCESS response, xolt msg id: 1,seq:0"));
    EXPECT_NE(std::string::npos, out.find("receive ERROR response, xolt msg id: 2,error code: 200,seq: 0"));
    EXPECT_EQ(18u, countOf(out, "send msg to App, msg size is "));
}

TEST_F(NestTest, AnswersTakeTheirRequestsSequencesFirstInFirstOut)
{
    // Two requests of one kind, then their two answers.
    frameFor(appRequest(0xC0001, 5, nestCommand(1, 1).get()));
    frameFor(appRequest(0xC0001, 6, nestCommand(1, 0).get()));
    QuelbyMessage answer = answerTo(ackFrame(0, bytes({1, 0})));
    expectResponseHead(answer, 0xC0001, 5);
    expectStatus(answer, SUCCESS, 0);
    answer = answerTo(ackFrame(1, bytes({1, 9})));
    expectResponseHead(answer, 0xC0001, 6);
    expectStatus(answer, ERROR, 9);
    EXPECT_TRUE(h.waitForOutput("receive ERROR response, xolt msg id: 1,error code: 9,seq: 6"));
    EXPECT_EQ(0u, countOf(h.output(), "Sequence Map is Empty!"));

    // Every command kind with its own acknowledgement number.
    struct Pair {
        uint32_t messageId;
        uint8_t command;
    };
    const std::vector<Pair> pairs = {
        {0xC0002, 2},  {0xC0003, 3},  {0xC0004, 8},  {0xC0005, 18}, {0xC0006, 17}, {0xC0007, 9},  {0xC0008, 10},
        {0xC000A, 19}, {0xC000B, 20}, {0xC000C, 21}, {0xC000D, 48}, {0xC000E, 7},  {0xC0011, 24},
    };
    int32_t sequence = 100;
    for (const Pair& p : pairs) {
        SCOPED_TRACE(p.messageId);
        frameFor(appRequest(p.messageId, sequence, nestCommand(1, 1).get()));
        answer = answerTo(ackFrame(static_cast<uint8_t>(sequence), bytes({p.command, 0})));
        expectResponseHead(answer, p.messageId, sequence);
        expectStatus(answer, SUCCESS, 0);
        ++sequence;
    }

    // The system-config answer goes out under the single-calibration id with
    // the system-config request's sequence; the single-calibration queue is
    // left alone.
    frameFor(appRequest(0xC0009, 77));
    answer = answerTo(ackFrame(2, bytes({16, 0})));
    expectResponseHead(answer, 0xC0008, 77);
    expectStatus(answer, SUCCESS, 0);
    answer = answerTo(ackFrame(3, bytes({10, 0})));
    expectResponseHead(answer, 0xC0008, 0);
    EXPECT_TRUE(h.waitForOutput("Sequence Map is Empty!"));
}

} // namespace
