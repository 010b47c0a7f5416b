// RC settings through the real gateway: the App's parameter get and set,
// calibration and hardware-state requests become RC settings frames (msgid
// 150), and the RC settings channel's answers and reports become App
// messages carrying the right sequences. Expected frames are written out by
// hand: FD 03 00 seq 0E 20 96 (seq + 196) p0 p1 p2 crc_lo crc_hi, the CRC
// closed with 36 (150 for the set-gimbal-speed request).
#include <gtest/gtest.h>

#include <chrono>
#include <optional>

#include "GatewayHarness.h"
#include "TestMessages.h"

namespace {

namespace qp = quelby::protocol;

constexpr uint32_t kParamGet = 1;
constexpr uint32_t kParamSet = 2;
constexpr uint32_t kHardwareStateNtfy = 0x90000;
constexpr uint32_t kRcStateNtfy = 0x90002;
constexpr uint32_t kEnterCalibration = 0x90004;
constexpr uint32_t kExitCalibration = 0x90005;
constexpr uint32_t kCalibrationStateNtfy = 0x90006;
constexpr uint32_t kStartHardwareState = 0x90007;
constexpr int kGimbalSpeed = 24833;
constexpr int kRockerMode = 28673;
constexpr int kMaxHeight = 27; // a parameter the gateway does not serve
constexpr int kInt32 = 6;
constexpr int kUint8 = 1;

const char* kGetFile = "ProtobufGetParameterHandle.cpp";
const char* kSetFile = "ProtobufSetParameterHandle.cpp";
const char* kPhoneSetFile = "XoltMsgPhoneSetHandle.cpp";

const char* kSendToTransmit = "Send msg to transmit, DestServiceID: 2, bytes: 13";
const char* kIllegalTarget = "illegal DestServiceID: -1, MsgBytes: 0";

std::string int32Body(int32_t v)
{
    qp::ParameterInt32 p;
    p.set_value(v);
    return p.SerializeAsString();
}

// One element of a parameter request; without data when data is empty.
struct Param {
    int id;
    int type;
    std::optional<std::string> data;
};

Param value(int id, int32_t v, int type = kInt32)
{
    return {id, type, int32Body(v)};
}

std::string paramRequest(uint32_t msgType, int32_t seq, const std::vector<Param>& params)
{
    qp::DroneParamMessageRequest request;
    for (const Param& p : params) {
        qp::DroneParamsRequest* e = request.add_params_list();
        e->set_param_id(static_cast<qp::ParameterType>(p.id));
        e->set_param_type(static_cast<qp::DroneParameterType>(p.type));
        if (p.data) {
            e->mutable_data()->set_value(*p.data);
        }
    }
    return appRequest(msgType, seq, &request);
}

// A request whose data.value holds the given bytes.
std::string rawRequest(uint32_t msgType, int32_t seq, const std::string& body, int32_t headType = 1)
{
    qp::QuelbyMessage envelope;
    envelope.ParseFromString(appRequest(msgType, seq, nullptr, headType));
    envelope.mutable_data()->set_value(body);
    return envelope.SerializeAsString();
}

// An RC settings frame from the RC's controller to the gateway.
std::vector<uint8_t> rcFrame(const std::vector<uint8_t>& payload)
{
    static uint8_t s_seq = 0;
    return radioFrame(s_seq++, 32, 14, 150, payload, 36);
}

// A 24-byte phone-set record: type, length, then data (zero-filled).
std::vector<uint8_t> phoneSet(uint8_t type, std::initializer_list<int> data, uint8_t length = 22)
{
    std::vector<uint8_t> payload{type, length};
    for (int b : data) {
        payload.push_back(static_cast<uint8_t>(b));
    }
    payload.resize(24, 0);
    return payload;
}

testing::AssertionResult nextFrame(GatewayHarness& h, const std::vector<uint8_t>& expected)
{
    std::string got;
    if (!h.radio.receive(got, 2000) || got != toString(expected)) {
        return testing::AssertionFailure() << "frame " << hexOf(got) << ", expected " << hexOf(toString(expected))
                                           << "\n" << h.output();
    }
    return testing::AssertionSuccess();
}

// The next App message, with the header every RC message carries; returns
// the datagram's size.
size_t nextAppMessage(GatewayHarness& h, qp::QuelbyMessage& envelope, int32_t headType, uint32_t messageId,
                      int32_t sequence)
{
    std::string got;
    if (!h.app.receive(got, 2000) || !parseEnvelope(got, envelope)) {
        ADD_FAILURE() << "no envelope for the App: " << hexOf(got) << "\n" << h.output();
        return 0;
    }
    const qp::CommonHead& head = envelope.head_data();
    EXPECT_EQ("Remote", head.token());
    EXPECT_EQ(headType, head.head_type());
    EXPECT_EQ(0, head.device_id());
    EXPECT_EQ(2, head.source_id());
    EXPECT_EQ(messageId, static_cast<uint32_t>(head.message_id()));
    EXPECT_EQ(sequence, head.message_sequence());
    EXPECT_EQ(0, head.version());
    const int64_t now = std::chrono::duration_cast<std::chrono::milliseconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count();
    EXPECT_LE(std::abs(now - head.time_stamp()), 5000);
    EXPECT_TRUE(envelope.data().type_url().empty());
    return got.size();
}

// A line "[level] file:<line> message" in the output.
testing::AssertionResult logged(const GatewayHarness& h, const std::string& level, const std::string& file,
                                const std::string& message)
{
    const std::string needle = " " + message + "\n";
    h.waitForOutput(needle);
    const std::string out = h.output();
    const size_t pos = out.find(needle);
    const size_t start = pos == std::string::npos ? 0 : out.rfind('\n', pos) + 1;
    const std::string prefix = out.substr(start, pos - start);
    const std::string tag = "[" + level + "] " + file + ":";
    const size_t at = prefix.find(tag);
    if (pos == std::string::npos || at == std::string::npos || prefix.size() == at + tag.size() ||
        prefix.find_first_not_of("0123456789", at + tag.size()) != std::string::npos) {
        return testing::AssertionFailure() << "no line \"" << tag << "<line> " << message << "\"\n" << out;
    }
    return testing::AssertionSuccess();
}

// A generic response without payload: returns the datagram size.
size_t expectResponse(GatewayHarness& h, uint32_t messageId, int32_t sequence, qp::StatusCode status)
{
    qp::QuelbyMessage envelope;
    const size_t size = nextAppMessage(h, envelope, 2, messageId, sequence);
    qp::RspMessage rsp;
    EXPECT_TRUE(parseBody(envelope, rsp));
    EXPECT_EQ(status, rsp.status_code());
    EXPECT_TRUE(rsp.data().empty());
    return size;
}

// A notification: the body straight in data, sequence 0.
template <typename Body>
size_t expectReport(GatewayHarness& h, uint32_t messageId, Body& body)
{
    qp::QuelbyMessage envelope;
    const size_t size = nextAppMessage(h, envelope, 3, messageId, 0);
    EXPECT_TRUE(parseBody(envelope, body));
    return size;
}

std::string sentToApp(size_t size, uint32_t messageId, int32_t headType)
{
    return "Send msg to App, data size is " + std::to_string(size) + ", msg id:" + std::to_string(messageId) +
           ", head type:" + std::to_string(headType);
}

// A parameter answer: a SUCCESS response holding exactly one element.
void expectParamAnswer(GatewayHarness& h, uint32_t messageId, int32_t sequence, uint32_t paramId,
                       uint32_t responseCode, std::optional<int32_t> value = std::nullopt)
{
    qp::QuelbyMessage envelope;
    const size_t size = nextAppMessage(h, envelope, 2, messageId, sequence);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, sentToApp(size, messageId, 2)));
    qp::RspMessage rsp;
    ASSERT_TRUE(parseBody(envelope, rsp));
    EXPECT_EQ(qp::SUCCESS, rsp.status_code());
    qp::DroneParamMessageResponse params;
    ASSERT_TRUE(params.ParseFromString(rsp.data()));
    ASSERT_EQ(1, params.params_list_size());
    const qp::DroneParamResponse& param = params.params_list(0);
    EXPECT_EQ(paramId, param.param_id());
    EXPECT_EQ(responseCode, param.response_code());
    qp::ParameterInt32 read;
    EXPECT_TRUE(read.ParseFromString(param.data()));
    EXPECT_EQ(value.value_or(0), read.value());
    if (!value) {
        EXPECT_TRUE(param.data().empty());
    }
}

class RcSettings : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(h.start("Info")) << h.output(); }
    GatewayHarness h;
};

TEST_F(RcSettings, ParameterGetSendsOneFramePerServedElement)
{
    EXPECT_TRUE(logged(h, "Info", kGetFile, "Init protobuf 2 xolt handle, msg id:1"));

    // Gimbal speed with data present but empty (value 0: served), then the
    // rocker mode: two frames numbered 0 and 1.
    h.sendEnvelope(paramRequest(kParamGet, 5, {{kGimbalSpeed, kInt32, ""}, value(kRockerMode, 1)}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x02, 0x00, 0x00, 0xC9, 0x3A})));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x01, 0x0E, 0x20, 0x96, 0xC5, 0x13, 0x00, 0x00, 0x6A, 0xA3})));
    EXPECT_TRUE(logged(h, "Info", kGetFile, "Get parameter, parameter id:24833"));
    EXPECT_TRUE(logged(h, "Info", kGetFile, "Get gimbal speed mode"));
    EXPECT_TRUE(logged(h, "Info", kGetFile, "Get parameter, parameter id:28673"));
    EXPECT_TRUE(logged(h, "Info", kGetFile, "Get rocker control mode"));
    EXPECT_TRUE(logged(h, "Info", kGetFile, kSendToTransmit));

    // Refused elements log their reason and the unset target; only the last
    // element goes out. The refused rocker-mode reads push nothing.
    h.sendEnvelope(paramRequest(kParamGet, 6,
                                {value(kGimbalSpeed, 1, kUint8), {kRockerMode, kInt32, {}}, {kRockerMode, kInt32, "\xff"},
                                 value(kMaxHeight, 1), value(kGimbalSpeed, 1)}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x02, 0x0E, 0x20, 0x96, 0xC6, 0x02, 0x00, 0x00, 0xBB, 0xB7})));
    EXPECT_TRUE(logged(h, "Warn", kGetFile, "Parameter type 1 is not support, parameter id:24833"));
    EXPECT_TRUE(logged(h, "Warn", kGetFile, "Value is null for parameter id:28673"));
    EXPECT_TRUE(logged(h, "Warn", kGetFile, "illegal paramID: 27"));
    EXPECT_TRUE(logged(h, "Warn", kGetFile, kIllegalTarget));
    EXPECT_EQ(2u, countOccurrences(h.output(), "Value is null for parameter id:28673\n"));
    EXPECT_EQ(4u, countOccurrences(h.output(), kIllegalTarget));
    const std::string out = h.output();
    EXPECT_LT(out.find("Parameter type 1 is not support"), out.find(kIllegalTarget));

    // Whole envelopes refused: a response (refused before its data is
    // looked at), no data, data that is not a parameter list; an empty list
    // sends nothing either.
    h.sendEnvelope(rawRequest(kParamGet, 7, "\xff", 2));
    h.sendEnvelope(appRequest(kParamGet, 7));
    h.sendEnvelope(rawRequest(kParamGet, 7, "\xff"));
    h.sendEnvelope(paramRequest(kParamGet, 7, {}));
    EXPECT_TRUE(logged(h, "Warn", kGetFile, "Parameter get msg, the head type is not request. head type:2"));
    EXPECT_TRUE(logged(h, "Warn", kGetFile, "Parameter get msg, the data is null."));
    EXPECT_TRUE(logged(h, "Warn", kGetFile, "Parse params from parameter get msg failed."));

    // Still serving; the frame counter went on only for frames sent.
    h.sendEnvelope(paramRequest(kParamGet, 8, {value(kGimbalSpeed, 0)}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x03, 0x0E, 0x20, 0x96, 0xC7, 0x02, 0x00, 0x00, 0x02, 0xF1})));
    EXPECT_EQ(1u, countOccurrences(h.output(), "Parse params from parameter get msg failed."));

    // The rocker-mode answer takes the one queued sequence, 5.
    h.sendFrame(rcFrame(phoneSet(19, {2})));
    expectParamAnswer(h, kParamGet, 5, kRockerMode, 1, 2);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "MAP"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "queue sequence: 5"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "response of get RC_ROCKER_CONTROL_MODE_MSG,mode:2"));
    EXPECT_TRUE(h.radio.drain(50).empty());
}

TEST_F(RcSettings, AnswersCarryTheRememberedSequences)
{
    // No request yet: the stored sequences are -1.
    h.sendFrame(rcFrame(phoneSet(2, {40, 7, 8, 9})));
    expectParamAnswer(h, kParamGet, -1, kRockerMode, 1, 40);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "set_data[0]:40,set_data[1]:7,set_data[2]:8,set_data[3]:9"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "response of get RC_CMD_GET_GIMBAL_SPEED,mode:40"));
    h.sendFrame(rcFrame(phoneSet(1, {0})));
    expectParamAnswer(h, kParamSet, -1, kGimbalSpeed, 1);
    h.sendFrame(rcFrame(phoneSet(18, {0})));
    expectParamAnswer(h, kParamSet, -1, kRockerMode, 1);

    // Two gimbal-speed reads, 5 and 6: both answers carry 6. The answer
    // names the rocker-mode parameter; a speed above 100 is a failure.
    h.sendEnvelope(paramRequest(kParamGet, 5, {value(kGimbalSpeed, 0)}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x02, 0x00, 0x00, 0xC9, 0x3A})));
    h.sendEnvelope(paramRequest(kParamGet, 6, {value(kGimbalSpeed, 0)}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x01, 0x0E, 0x20, 0x96, 0xC5, 0x02, 0x00, 0x00, 0x70, 0x7C})));
    h.sendFrame(rcFrame(phoneSet(2, {100})));
    expectParamAnswer(h, kParamGet, 6, kRockerMode, 1, 100);
    h.sendFrame(rcFrame(phoneSet(2, {101})));
    expectParamAnswer(h, kParamGet, 6, kRockerMode, 2, 101);

    // Two rocker-mode reads are answered first in, first out; modes from 3
    // up are failures.
    h.sendEnvelope(paramRequest(kParamGet, 8, {value(kRockerMode, 0)}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x02, 0x0E, 0x20, 0x96, 0xC6, 0x13, 0x00, 0x00, 0xA1, 0x68})));
    h.sendEnvelope(paramRequest(kParamGet, 9, {value(kRockerMode, 0)}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x03, 0x0E, 0x20, 0x96, 0xC7, 0x13, 0x00, 0x00, 0x18, 0x2E})));
    h.sendFrame(rcFrame(phoneSet(19, {0})));
    expectParamAnswer(h, kParamGet, 8, kRockerMode, 1, 0);
    h.sendFrame(rcFrame(phoneSet(19, {3})));
    expectParamAnswer(h, kParamGet, 9, kRockerMode, 2, 3);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "queue sequence: 9"));
}

TEST_F(RcSettings, ParameterSetSendsTheLowValueByte)
{
    h.sendEnvelope(paramRequest(kParamSet, 21, {value(kRockerMode, 2)}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x12, 0x01, 0x02, 0x04, 0x90})));
    EXPECT_TRUE(logged(h, "Info", kSetFile, "Set parameter, parameter id:28673"));
    EXPECT_TRUE(logged(h, "Info", kSetFile, "set control mode设置摇杆操控模式: 2"));
    EXPECT_TRUE(logged(h, "Info", kSetFile, kSendToTransmit));

    // The whole speed is logged, only its low byte is sent, and the CRC is
    // closed with 150.
    h.sendEnvelope(paramRequest(kParamSet, 22, {value(kGimbalSpeed, 0x01020304)}));
    const std::vector<uint8_t> speedFrame =
        bytes({0xFD, 0x03, 0x00, 0x01, 0x0E, 0x20, 0x96, 0xC5, 0x01, 0x04, 0x04, 0x25, 0xCB});
    EXPECT_TRUE(nextFrame(h, speedFrame));
    EXPECT_TRUE(logged(h, "Info", kSetFile, "set gimbal speed 设置云台速度：16909060"));
    EXPECT_TRUE(logged(h, "Info", kSetFile, "set_data[0]:4,set_data[1]:3,set_data[2]:2,set_data[3]:1"));
    // So the gateway's own receive side does not accept that frame. The
    // printed line comes out with the next log line's flush: an unsupported
    // sub-command on the same socket makes sure one follows it.
    h.sendFrame(speedFrame);
    h.sendFrame(rcFrame(phoneSet(77, {})));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "Parameter type 77 is not support."));

    // 300 goes out as 44; refused elements log their reason and the unset
    // target.
    h.sendEnvelope(paramRequest(kParamSet, 23,
                                {value(kMaxHeight, 1), value(kRockerMode, 300), value(kGimbalSpeed, 9, kUint8),
                                 {kGimbalSpeed, kInt32, {}}}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x02, 0x0E, 0x20, 0x96, 0xC6, 0x12, 0x01, 0x2C, 0x55, 0xA4})));
    EXPECT_TRUE(h.waitForOutput("======XOLT_FRAMING_BAD_CRC, msgid: 150, sourceid: 32=========\n")) << h.output();
    EXPECT_TRUE(logged(h, "Warn", kSetFile, "illegal paramID!!!27"));
    EXPECT_TRUE(logged(h, "Warn", kSetFile, "Parameter type 1 is not support, parameter id:24833"));
    EXPECT_TRUE(logged(h, "Warn", kSetFile, "Value is null for parameter id:24833"));
    EXPECT_TRUE(logged(h, "Warn", kSetFile, kIllegalTarget));

    h.sendEnvelope(rawRequest(kParamSet, 24, "\xff", 2));
    h.sendEnvelope(appRequest(kParamSet, 24));
    h.sendEnvelope(rawRequest(kParamSet, 24, "\xff"));
    EXPECT_TRUE(logged(h, "Warn", kSetFile, "Parameter set msg, the head type is not request. head type:2"));
    EXPECT_TRUE(logged(h, "Warn", kSetFile, "Parameter set msg, the data is null."));
    EXPECT_TRUE(logged(h, "Warn", kSetFile, "Parse params from parameter set msg failed."));
    EXPECT_EQ(3u, countOccurrences(h.output(), kIllegalTarget));

    // Each answer takes the last sequence of its own kind; nothing refused
    // above overwrote them.
    h.sendFrame(rcFrame(phoneSet(18, {0})));
    expectParamAnswer(h, kParamSet, 23, kRockerMode, 1);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "response of set RC_ROCKER_CONTROL_MODE_MSG,status:0"));
    h.sendFrame(rcFrame(phoneSet(1, {5, 6, 7, 8})));
    expectParamAnswer(h, kParamSet, 22, kGimbalSpeed, 2);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "set_data[0]:5,set_data[1]:6,set_data[2]:7,set_data[3]:8"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "response of set RC_CMD_SET_GIMBAL_SPEED,status:5"));

    // Two parameters in one envelope: two frames, both answered with its
    // sequence.
    h.sendEnvelope(paramRequest(kParamSet, 25, {value(kRockerMode, 1), value(kGimbalSpeed, 50)}));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x03, 0x0E, 0x20, 0x96, 0xC7, 0x12, 0x01, 0x01, 0xA7, 0x71})));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x04, 0x0E, 0x20, 0x96, 0xC8, 0x01, 0x04, 0x32, 0x3B, 0x27})));
    h.sendFrame(rcFrame(phoneSet(18, {1})));
    expectParamAnswer(h, kParamSet, 25, kRockerMode, 2);
    h.sendFrame(rcFrame(phoneSet(1, {0})));
    expectParamAnswer(h, kParamSet, 25, kGimbalSpeed, 1);
    EXPECT_TRUE(h.radio.drain(50).empty());
}

TEST_F(RcSettings, CalibrationAnswersFollowTheLastCommandSent)
{
    // No command sent yet: no id, no sequence, the firmware's status.
    h.sendFrame(rcFrame(phoneSet(13, {1})));
    size_t size = expectResponse(h, 0, 0, qp::SUCCESS);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, sentToApp(size, 0, 2)));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile,
                       "response of set RC_CMD_CALIBRATION, cmd:1, CGlobalStatus::ms_iCurRcCalibrationCmd: -1"));
    EXPECT_TRUE(logged(h, "Warn", kPhoneSetFile,
                       "When receive a rc calibration cmd msg from transmit, the status is:-1"));
    h.sendFrame(rcFrame(phoneSet(13, {0})));
    expectResponse(h, 0, 0, qp::ERROR);

    // Enter and exit number their frames separately, each from 0.
    h.sendEnvelope(appRequest(kEnterCalibration, 11));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x0D, 0x01, 0x01, 0x34, 0xCB})));
    EXPECT_TRUE(logged(h, "Info", "EnterCalibration.cpp", kSendToTransmit));
    h.sendEnvelope(appRequest(kExitCalibration, 12));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x0D, 0x01, 0x00, 0xEC, 0xD2})));
    // Whatever the firmware says, the exit is answered as a success.
    h.sendFrame(rcFrame(phoneSet(13, {0})));
    size = expectResponse(h, kExitCalibration, 12, qp::SUCCESS);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, sentToApp(size, kExitCalibration, 2)));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile,
                       "response of set RC_CMD_CALIBRATION, cmd:0, CGlobalStatus::ms_iCurRcCalibrationCmd: 0"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "response of Exit Calibration"));

    // A request that is not typed as one is logged and sent all the same;
    // of two enters only the second is remembered.
    h.sendEnvelope(appRequest(kEnterCalibration, 13, nullptr, 2));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x01, 0x0E, 0x20, 0x96, 0xC5, 0x0D, 0x01, 0x01, 0x8D, 0x8D})));
    EXPECT_TRUE(logged(h, "Error", "EnterCalibration.cpp",
                       "Parameter set msg, the head type is not request. head type:2"));
    h.sendEnvelope(appRequest(kEnterCalibration, 14));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x02, 0x0E, 0x20, 0x96, 0xC6, 0x0D, 0x01, 0x01, 0x46, 0x46})));
    h.sendFrame(rcFrame(phoneSet(13, {0})));
    expectResponse(h, kEnterCalibration, 14, qp::SUCCESS);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "response of Enter Calibration"));
    EXPECT_TRUE(h.radio.drain(50).empty());
}

TEST_F(RcSettings, HardwareStateSubscriptionAndStickReports)
{
    // 257 goes out as 1; the App is answered at once.
    h.sendEnvelope(rawRequest(kStartHardwareState, 31, int32Body(257)));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x0E, 0x01, 0x01, 0xF9, 0xEE})));
    size_t size = expectResponse(h, kStartHardwareState, 31, qp::SUCCESS);
    EXPECT_TRUE(logged(h, "Info", "StartHardwareStateNtfy.cpp", "start rocker state upload"));
    EXPECT_TRUE(logged(h, "Info", "StartHardwareStateNtfy.cpp", "start hardware state notify,param value:257"));
    EXPECT_TRUE(logged(h, "Info", "StartHardwareStateNtfy.cpp", kSendToTransmit));
    EXPECT_TRUE(logged(h, "Info", "StartHardwareStateNtfy.cpp", "Send msg to app, bytes:" + std::to_string(size)));

    // No body reads as 0; a request typed otherwise is logged and served.
    h.sendEnvelope(appRequest(kStartHardwareState, 32, nullptr, 2));
    EXPECT_TRUE(nextFrame(h, bytes({0xFD, 0x03, 0x00, 0x01, 0x0E, 0x20, 0x96, 0xC5, 0x0E, 0x01, 0x00, 0x98, 0xB1})));
    expectResponse(h, kStartHardwareState, 32, qp::SUCCESS);
    EXPECT_TRUE(logged(h, "Error", "StartHardwareStateNtfy.cpp",
                       "Parameter set msg, the head type is not request. head type:2"));

    // Stick reports: signed 16-bit words; data bytes 8 and 9 are skipped.
    const std::vector<uint8_t> report =
        phoneSet(14, {0x9C, 0xFF, 0xC8, 0x00, 0x00, 0x80, 0xFF, 0x7F, 0x55, 0x55, 0xFB, 0xFF});
    h.sendFrame(rcFrame(report));
    qp::RCHardwareStateNtfy state;
    size = expectReport(h, kHardwareStateNtfy, state);
    EXPECT_EQ(-100, state.righthorizontalvalue());
    EXPECT_EQ(200, state.rightverticalvalue());
    EXPECT_EQ(-32768, state.lefthorizontalvalue());
    EXPECT_EQ(32767, state.leftverticalvalue());
    EXPECT_EQ(-5, state.wheelvalue1());
    EXPECT_EQ(0, state.wheelvalue2());
    EXPECT_EQ(0, state.flightmode());
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile,
                       "rcHardwareState,cnt:1\n rightHorizontalValue:-100\n rightVerticalValue:200\n"
                       " leftHorizontalValue:-32768\n leftVerticalValue:32767\n wheelValue1:-5\n wheelValue2:0\n"
                       " flightMode:0"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, sentToApp(size, kHardwareStateNtfy, 3)));

    // Only every 60th report is logged: the 61st is the next.
    for (int i = 2; i <= 61; ++i) {
        h.sendFrame(rcFrame(report));
    }
    EXPECT_EQ(60u, h.app.drain(1000).size());
    EXPECT_TRUE(h.waitForOutput("rcHardwareState,cnt:61\n"));
    EXPECT_EQ(2u, countOccurrences(h.output(), "rcHardwareState,cnt:"));
    EXPECT_EQ(2u, countOccurrences(h.output(), sentToApp(size, kHardwareStateNtfy, 3)));
}

TEST_F(RcSettings, StatusAndCalibrationProgressReports)
{
    // A long frame of an unsupported type leaves its bytes in the receive
    // record, where the status report finds its charging voltage.
    std::vector<uint8_t> longPayload(130, 0);
    longPayload[0] = 3;
    longPayload[120] = 0x34;
    longPayload[121] = 0x12;
    h.sendFrame(rcFrame(longPayload));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "Parameter type 3 is not support."));
    h.sendFrame(rcFrame(phoneSet(15, {80, 4, 5, 1, 36})));
    qp::RCStateNtfy status;
    size_t size = expectReport(h, kRcStateNtfy, status);
    EXPECT_EQ(80u, status.remainpowerpercent());
    EXPECT_EQ(4u, status.rcsignalquality());
    EXPECT_EQ(5u, status.dspsignalquality());
    EXPECT_EQ(1u, status.calibrationstate());
    EXPECT_EQ(36u, status.batterytemperature());
    EXPECT_EQ(0x1234u, status.chargingvoltage());
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "Rc status notify,set_data[]:80, 4, 5, 1"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile,
                       "Rc battery info notify, cnt:1\n remainPower:80\n dspSignal:5\n rcSignalQuality:4\n"
                       " calibrationState:1"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, sentToApp(size, kRcStateNtfy, 3)));

    // Calibration progress in both layouts (the shared counter at 2 and 3,
    // not logged).
    h.sendFrame(rcFrame(phoneSet(25, {0x78, 0x56, 0x34, 0x12, 2, 0, 0, 0, 3, 0, 0, 0, 4, 0, 0, 0x80, 1}, 17)));
    qp::RockerCalibrationStateNtfy calibration;
    expectReport(h, kCalibrationStateNtfy, calibration);
    EXPECT_EQ(0x12345678u, calibration.rightstickstatus());
    EXPECT_EQ(2u, calibration.leftstickstatus());
    EXPECT_EQ(3u, calibration.rightthumbwheelstatus());
    EXPECT_EQ(0x80000004u, calibration.leftthumbwheelstatus());
    EXPECT_EQ(1u, calibration.midvalibflag());
    const std::vector<uint8_t> shortLayout = phoneSet(25, {10, 0, 0, 0, 11, 0, 0, 0, 12, 0, 0, 0, 13, 99}, 13);
    h.sendFrame(rcFrame(shortLayout));
    expectReport(h, kCalibrationStateNtfy, calibration);
    EXPECT_EQ(10u, calibration.rightstickstatus());
    EXPECT_EQ(11u, calibration.leftstickstatus());
    EXPECT_EQ(0u, calibration.rightthumbwheelstatus());
    EXPECT_EQ(12u, calibration.leftthumbwheelstatus());
    EXPECT_EQ(13u, calibration.midvalibflag());

    // Any other length, and types 0, 33 and 255, send nothing; 30 to 32 are
    // dropped without a line.
    h.sendFrame(rcFrame(phoneSet(25, {1, 2, 3}, 9)));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "illegal length:9"));
    for (int type : {30, 31, 32, 0, 33, 255}) {
        h.sendFrame(rcFrame(phoneSet(static_cast<uint8_t>(type), {})));
    }
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "Parameter type 0 is not support."));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "Parameter type 33 is not support."));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "Parameter type 255 is not support."));
    // Still serving: the next App message is this answer.
    h.sendFrame(rcFrame(phoneSet(18, {0})));
    expectParamAnswer(h, kParamSet, -1, kRockerMode, 1);
    EXPECT_EQ(std::string::npos, h.output().find("Parameter type 30 "));
    EXPECT_EQ(std::string::npos, h.output().find("Parameter type 32 "));

    // Status reports take the shared counter from 5 to 60 (the 31st is
    // logged), so the next calibration report, the 61st, is logged.
    for (int i = 5; i <= 60; ++i) {
        h.sendFrame(rcFrame(phoneSet(15, {80, 4, 5, 1, 36})));
    }
    EXPECT_EQ(56u, h.app.drain(1000).size());
    EXPECT_TRUE(h.waitForOutput("Rc battery info notify, cnt:31\n"));
    EXPECT_EQ(2u, countOccurrences(h.output(), "Rc battery info notify, cnt:"));
    EXPECT_EQ(2u, countOccurrences(h.output(), "Rc status notify,set_data[]:"));
    h.sendFrame(rcFrame(shortLayout));
    size = expectReport(h, kCalibrationStateNtfy, calibration);
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, "xolt data length:13"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile,
                       "Rc calibration status info notify,  cnt:61\n rightStick:10\n leftStick:11\n"
                       " rightThumbWheel:0\n leftThumbWheel:12\n midValidFlag:13"));
    EXPECT_TRUE(logged(h, "Info", kPhoneSetFile, sentToApp(size, kCalibrationStateNtfy, 3)));
    EXPECT_EQ(1u, countOccurrences(h.output(), "xolt data length:"));
}

} // namespace
