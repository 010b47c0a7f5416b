// What the handlers return (their callers only log it), the UTF-8 repair of
// radio text before it goes into an App string field, and the decoding of
// App envelopes.
#include <cstring>

#include "msgHandle/AppEnvelopeReader.h"
#include "msgHandle/Protobuf2XoltHandleBase.h"
#include "kit/TestMessages.h"
#include "UnitTest.h"
#include "msgHandle/Utf8Text.h"
#include "msgHandle/Xolt2ProtobufHandleBase.h"
#include "msgHandle/XoltProtocol.h"

namespace {

// Radio bytes in, App text out ("?" stands for U+FFFD, one per bad byte).
TEST(Utf8Text, EveryByteOutsideAValidSequenceIsReplaced)
{
    const struct {
        const char *in, *out;
    } rows[] = {
        {"plain ASCII\x7F", "plain ASCII\x7F"},
        {"\xC3\xA9 \xE4\xB8\xAD \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF",
         "\xC3\xA9 \xE4\xB8\xAD \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF"},
        {"\xC2\x80\xDF\xBF", "\xC2\x80\xDF\xBF"},                 // the first and last two-byte leads
        {"\xE0\xA0\x80\xEF\xBF\xBF", "\xE0\xA0\x80\xEF\xBF\xBF"}, // and three-byte leads
        {"\x80\xBF", "??"},                                       // continuation bytes alone
        {"\xC0\xAF\xC1\xBF", "????"},                             // overlong two-byte forms
        {"\xE0\x9F\xBF", "???"},                                  // overlong three-byte form
        {"\xED\xA0\x80", "???"},                                  // a surrogate
        {"\xF0\x8F\xBF\xBF", "????"},                             // overlong four-byte form
        {"\xF4\x90\x80\x80\xF5\xFF", "??????"},                   // beyond U+10FFFF
        {"a\xE4\xB8", "a??"},                                     // cut at the end
        {"\xE4\xB8"
         "a",
         "??a"}, // cut in the middle
        {"\xF0\x9F\x98", "???"},
    };
    for (const auto& row : rows) {
        std::string out;
        appendUtf8(out, row.in, strlen(row.in));
        std::string expected;
        for (const char* p = row.out; *p != '\0'; ++p) {
            expected += *p == '?' ? std::string("\xEF\xBF\xBD") : std::string(1, *p);
        }
        EXPECT_EQ(expected, out) << row.in;
    }
}

// App requests: the factory key, the envelope (no body: no data), the result.
TEST(Handlers, AppRequestsReturnTheirStatus)
{
    static CTempDir dir;
    useTestLog(dir);
    quelby::protocol::DroneParamMessageRequest gimbal;
    gimbal.add_params_list()->set_param_id(quelby::protocol::GIMBAL_PITCH_SPEED_MSG);
    quelby::protocol::NestVirtualPoleStateNtfy sticks;
    const struct {
        const char* key;
        const google::protobuf::Message* body;
        int32_t headType, result;
    } rows[] = {
        {"Protobuf2Xolt.GetParameter", nullptr, 1, -1},
        {"Protobuf2Xolt.GetParameter", &gimbal, 2, -1},
        {"Protobuf2Xolt.SetParameter", &gimbal, 1, 0},
        {"Protobuf2Xolt.NestVirtualPoleStatus", &sticks, 5, 0},
    };
    for (const auto& row : rows) {
        quelby::protocol::QuelbyMessage msg;
        ASSERT_TRUE(msg.ParseFromString(appRequest(0, 1, row.body, row.headType)));
        auto handler = made<CProtobuf2XoltHandleBase>(row.key);
        ASSERT_NE(nullptr, handler);
        captureStdout([&] { EXPECT_EQ(row.result, handler->handleMsg(msg)) << row.key; });
    }
}

// Radio frames: the factory key, the payload, the result.
TEST(Handlers, RadioFramesReturnTheirStatus)
{
    static CTempDir dir;
    useTestLog(dir);
    const struct {
        const char* key;
        std::vector<uint8_t> payload;
        int32_t result;
    } rows[] = {
        {"Xolt2Protobuf.PhoneSet", std::vector<uint8_t>({0x01, 0x01, 0x32}), 0},     // gimbal speed set
        {"Xolt2Protobuf.PhoneSet", std::vector<uint8_t>({0x02, 0x01, 0x32}), 0},     // gimbal speed read
        {"Xolt2Protobuf.PhoneSet", std::vector<uint8_t>({0x0d, 0x01, 0x01}), 0},     // calibration entered
        {"Xolt2Protobuf.PhoneSet", std::vector<uint8_t>({0x63}), 0},                 // a type it does not serve
        {"Xolt2Protobuf.XoltNestCommandRsp", std::vector<uint8_t>({0x77, 0x00}), 0}, // a command byte it does not know
    };
    for (const auto& row : rows) {
        xolt_message_head_t head{};
        head.magic = XOLT_STX;
        head.len = static_cast<uint16_t>(row.payload.size());
        std::copy(row.payload.begin(), row.payload.end(), xolt_payload(&head));
        auto handler = made<CXolt2ProtobufHandleBase>(row.key);
        ASSERT_NE(nullptr, handler);
        head.msgid = static_cast<uint8_t>(handler->getSupportMsgType());
        captureStdout([&] { EXPECT_EQ(row.result, handler->handleMsg(&head)) << row.key; });
    }
}

// Datagrams in turn into one reader: each decodes as into a new envelope
// (result, presence of header and data, every field and unknown field),
// whatever came before it.
TEST(AppEnvelopeReader, EachDatagramDecodesAsIntoANewEnvelope)
{
    const std::string rows[] = {
        bytesOf("0a 07 0a 03 \"App\" 10 01 12 03 12 01 \"x\""), // header, data
        bytesOf("12 03 12 01 \"y\""),                           // data only
        bytesOf("0a 02 10 02"),                                 // header only
        bytesOf(""),                                            // nothing
        bytesOf("0a 00 12 00"),                                 // both, empty
        bytesOf("0a 03 0a 01 ff"),                              // a token that is not UTF-8
        bytesOf("18 05 0a 02 10 04 0a 02 18 07"),               // unknown field, header twice
        bytesOf("0f 01 02"),                                    // no envelope
        bytesOf("12 02 0a 00 20 01"),                           // empty type_url, unknown field
        bytesOf("0a 02 10 01"),
    };
    CAppEnvelopeReader reader;
    for (const std::string& datagram : rows) {
        quelby::protocol::QuelbyMessage fresh;
        const bool parsed = fresh.ParseFromString(datagram);
        const std::string name = hexOf(datagram);
        ASSERT_EQ(parsed, reader.parse(datagram.data(), static_cast<int>(datagram.size()))) << name;
        if (parsed) {
            const quelby::protocol::QuelbyMessage& read = reader.envelope();
            EXPECT_EQ(fresh.has_head_data(), read.has_head_data()) << name;
            EXPECT_EQ(fresh.has_data(), read.has_data()) << name;
            EXPECT_EQ(fresh.ShortDebugString(), read.ShortDebugString()) << name;
            EXPECT_EQ(fresh.SerializeAsString(), read.SerializeAsString()) << name;
        }
    }
}

} // namespace
