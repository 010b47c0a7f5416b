// Radio frames as the handlers read them, through the real gateway: every
// field sits at a fixed payload offset of the receive record, whatever the
// frame's length. In a frame shorter than its message the next bytes are the
// frame's own CRC, then whatever an earlier frame left in the record. Each
// row is preceded by a 130-byte primer frame of an unhandled msgid whose
// payload byte k is 0x40 + k, so those older bytes are known. Expected texts
// name record bytes as {u8@N}, {s8@N}, {u16@N}, {i16@N}, {u32@N}
// (little-endian at payload offset N of the record: payload, CRC, primer),
// worked out here with the tests' own CRC. Version strings reach the App as
// valid UTF-8, so every answer parses with the strict proto3 parser.
#include <gtest/gtest.h>

#include <unistd.h>

#include <map>
#include <memory>
#include <regex>

#include <google/protobuf/descriptor.h>
#include <google/protobuf/dynamic_message.h>

#include "GatewayHarness.h"
#include "TestMessages.h"

namespace {

namespace gp = google::protobuf;

constexpr uint8_t kRc = 14;
constexpr uint8_t kNest = 35;
constexpr uint8_t kApp = 32;
constexpr uint8_t kPrimerMsgId = 1; // no handler
constexpr size_t kPrimerLen = 130;
const std::map<uint8_t, uint8_t> kCrcExtra = {{110, 183}, {144, 224}, {150, 36}, {183, 123}, {201, 47}, {219, 0}};

struct Row {
    const char* name;
    uint32_t request;     // App request sent first (its frame is taken), 0: none
    int32_t requestSeq;
    uint8_t sourceid;
    uint8_t msgid;
    std::vector<uint8_t> payload;
    const char* log;      // text the gateway writes for the frame, "" none
    uint32_t messageId;   // App message expected, with head type, sequence, token
    int32_t headType;
    int32_t sequence;
    const char* token;
    const char* body;     // body type: "" none, "A>B" a B inside A's data
    const char* text;     // body in protobuf's short text form, "A | B"
};

// clang-format off
const Row kRows[] = {
    {"nest ack with the command only: the result is the CRC's low byte", 0xC0001, 9,
     kNest, 183, {1}, "receive ERROR response, xolt msg id: 1,error code: {u8@1},seq: 9",
     0xC0001, 2, 9, "nest", "RspMessage", "status_code: ERROR result_code: {u8@1}"},
    {"the short ack took the queued sequence", 0, 0,
     kNest, 183, {1, 0}, "Sequence Map is Empty!",
     0xC0001, 2, 0, "nest", "RspMessage", "status_code: SUCCESS"},
    {"motor-driver ack: a bare envelope", 0, 0,
     kNest, 183, {5}, "case NEST_CMD_MOTOR_DRV_RESET", 0, 2, 0, "nest", "", ""},
    {"acknowledgement of 78 alone names 78 + 256 * CRC low byte", 0x9000A, 41,
     kRc, 110, {78}, "key_id {u16@0} is not support.", 0, 0, 0, "", "", ""},
    {"the real acknowledgement takes the sequence still queued", 0, 0,
     kRc, 110, {78, 0, 0}, "receive SUCCESS response, xolt msg id: 78,seq:41",
     0x9000A, 2, 41, "Remote", "RspMessage", "status_code: SUCCESS"},
    {"zoom key alone: time, value and status follow it", 0, 0,
     kRc, 144, {10}, "key_id: 10,key_time: {u8@1},key_value: {u8@3},key_status: {u8@3}",
     0x90001, 4, 0, "Remote", "RCHardwareButtonInfoNtfy",
     "buttontype: RC_BUTTON_TYPE_ZOOM_OUT buttonstate: RC_BUTTON_STATE_ROLL thumbwheelvalue: {u8@2}"},
    {"pairing progress without its byte", 0, 0,
     kRc, 201, {6}, "case PAIR_PROGRESS_REPORT", 0x70020, 3, 0, "Remote", "ParameterInt32", "value: {s8@1}"},
    {"stick report of the type byte only", 0, 0,
     kRc, 150, {14}, "", 0x90000, 3, 0, "Remote", "RCHardwareStateNtfy",
     "righthorizontalvalue: {i16@2} rightverticalvalue: {i16@4} lefthorizontalvalue: {i16@6} "
     "leftverticalvalue: {i16@8} wheelvalue1: {i16@12}"},
    {"status report of the type byte only", 0, 0,
     kRc, 150, {15}, "", 0x90002, 3, 0, "Remote", "RCStateNtfy",
     "remainpowerpercent: {u8@2} dspsignalquality: {u8@4} rcsignalquality: {u8@3} calibrationstate: {u8@5} "
     "batterytemperature: {u8@6} chargingvoltage: {u16@120}"},
    {"calibration progress, 13-byte layout, four bytes carried", 0, 0,
     kRc, 150, {25, 13, 10, 0, 0, 0}, "", 0x90006, 3, 0, "Remote", "RockerCalibrationStateNtfy",
     "rightstickstatus: 10 leftstickstatus: {u32@6} leftthumbwheelstatus: {u32@10} midvalibflag: {u8@14}"},
    {"versions: lengths read on into the CRC and the record, no string carried", 0, 0,
     kRc, 219, {3, 9}, "payload len: 2,trans len:9,mcu len:{u8@3},rc len:{u8@2},motor len:{u8@4},data:\n",
     0x90001, 2, -1, "Remote", "RspMessage>DroneVersionInfo",
     "status_code: SUCCESS | versioninfolist { componentid: COMPONENT_TRANSMIT } versioninfolist { componentid: "
     "COMPONENT_RC } versioninfolist { componentid: COMPONENT_MCU } versioninfolist { componentid: "
     "COMPONENT_MOTOR }"},
    {"versions: stray bytes become U+FFFD", 0x90003, 5,
     kRc, 219, {3, 4, 0, 0, 0, 'v', '1', 0xFF, 0xFE}, R"(softwareversion: "v1\357\277\275\357\277\275")",
     0x90001, 2, 5, "Remote", "RspMessage>DroneVersionInfo",
     R"(status_code: SUCCESS | versioninfolist { componentid: COMPONENT_TRANSMIT softwareversion: )"
     R"("v1\357\277\275\357\277\275" })"},
    {"versions: a character cut by the 20-byte field, valid text kept", 0, 0,
     kRc, 219, {3, 21, 6, 0, 0, 'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H', 'I', 'J', 'K', 'L', 'M', 'N', 'O', 'P', 'Q',
                'R', 'S', 0xC3, 0xA9, 'v', 0xE4, 0xB8, 0xAD, 0xC3, 0xA9}, "",
     0x90001, 2, 5, "Remote", "RspMessage>DroneVersionInfo",
     R"(status_code: SUCCESS | versioninfolist { componentid: COMPONENT_TRANSMIT softwareversion: )"
     R"("ABCDEFGHIJKLMNOPQRS\357\277\275" } versioninfolist { componentid: COMPONENT_RC softwareversion: )"
     R"("v\344\270\255\303\251" })"},
};
// clang-format on

// The record's payload area after the frame: payload, CRC, primer bytes.
std::vector<uint8_t> recordView(const std::vector<uint8_t>& frame)
{
    std::vector<uint8_t> view(kPrimerLen);
    for (size_t k = 0; k < kPrimerLen; ++k) {
        view[k] = static_cast<uint8_t>(0x40 + k);
    }
    std::copy(frame.begin() + 8, frame.end(), view.begin());
    return view;
}

// The text with every {type@offset} replaced by the record's value there.
std::string expand(const std::string& text, const std::vector<uint8_t>& r)
{
    static const std::regex field(R"(\{(u8|s8|u16|i16|u32)@(\d+)\})");
    std::string out;
    auto last = text.cbegin();
    for (std::sregex_iterator it(text.begin(), text.end(), field), end; it != end; ++it) {
        const std::string type = (*it)[1];
        const size_t at = std::stoul((*it)[2]);
        const uint32_t u32 = r[at] | r[at + 1] << 8 | r[at + 2] << 16 | static_cast<uint32_t>(r[at + 3]) << 24;
        const int64_t value = type == "u8" ? r[at] : type == "s8" ? static_cast<int8_t>(r[at])
                              : type == "u16" ? (u32 & 0xFFFF) : type == "i16" ? static_cast<int16_t>(u32) : u32;
        out.append(last, it->prefix().second);
        out += std::to_string(value);
        last = it->suffix().first;
    }
    out.append(last, text.cend());
    return out;
}

// The body's short text; "A>B" parses B from A's data and prints "A | B".
std::string bodyText(const quelby::protocol::QuelbyMessage& env, const std::string& type)
{
    const std::string outer = type.substr(0, type.find('>'));
    const gp::Descriptor* d = gp::DescriptorPool::generated_pool()->FindMessageTypeByName("quelby.protocol." + outer);
    std::unique_ptr<gp::Message> body(gp::MessageFactory::generated_factory()->GetPrototype(d)->New());
    if (!parseBody(env, *body)) {
        return "(body does not parse)";
    }
    if (outer == type) {
        return body->ShortDebugString();
    }
    const gp::Descriptor* inner =
        gp::DescriptorPool::generated_pool()->FindMessageTypeByName("quelby.protocol." + type.substr(outer.size() + 1));
    std::unique_ptr<gp::Message> data(gp::MessageFactory::generated_factory()->GetPrototype(inner)->New());
    const gp::FieldDescriptor* dataField = d->FindFieldByName("data");
    if (!data->ParseFromString(body->GetReflection()->GetString(*body, dataField))) {
        return "(inner body does not parse)";
    }
    body->GetReflection()->ClearField(body.get(), dataField);
    return body->ShortDebugString() + " | " + data->ShortDebugString();
}

TEST(FrameRecord, FieldsAreReadWhereTheRecordHoldsThem)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    std::vector<uint8_t> primer(kPrimerLen);
    for (size_t k = 0; k < kPrimerLen; ++k) {
        primer[k] = static_cast<uint8_t>(0x40 + k);
    }

    for (const Row& row : kRows) {
        SCOPED_TRACE(row.name);
        if (row.request != 0) {
            ASSERT_TRUE(h.sendEnvelope(appRequest(row.request, row.requestSeq)));
            ASSERT_FALSE(receiveFrame(h).empty());
        }
        const size_t mark = h.output().size();
        ASSERT_TRUE(h.sendFrame(radioFrame(0, kApp, kRc, kPrimerMsgId, primer, 187)));
        // A sequence byte whose CRC bytes are not 0, so a result or length
        // read from them is told apart from a missing one.
        std::vector<uint8_t> frame;
        for (uint8_t seq = 0; frame.empty() || frame[frame.size() - 2] == 0 || frame.back() == 0; ++seq) {
            frame = radioFrame(seq, kApp, row.sourceid, row.msgid, row.payload, kCrcExtra.at(row.msgid));
        }
        ASSERT_TRUE(h.sendFrame(frame));
        const std::vector<uint8_t> record = recordView(frame);

        if (row.body[0] != '\0' || row.token[0] != '\0') {
            quelby::protocol::QuelbyMessage env;
            ASSERT_TRUE(receiveEnvelope(h, env, row.headType, row.messageId, row.sequence, nullptr, row.token));
            if (row.body[0] == '\0') {
                EXPECT_FALSE(env.has_data());
            } else {
                EXPECT_EQ(expand(row.text, record), bodyText(env, row.body));
            }
        } else {
            EXPECT_TRUE(h.app.drain(100).empty());
        }
        if (row.log[0] != '\0') {
            const std::string text = expand(row.log, record);
            for (int i = 0; i < 200 && h.output().find(text, mark) == std::string::npos; ++i) {
                usleep(10000);
            }
            EXPECT_NE(std::string::npos, h.output().find(text, mark)) << text << "\n" << h.output().substr(mark);
        }
    }
}

} // namespace
