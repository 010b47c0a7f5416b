// Both services of the real gateway: what arrives that no handler serves is
// reported or dropped as it should be, and the gateway keeps serving.
#include <gtest/gtest.h>

#include "GatewayHarness.h"
#include "TestMessages.h"

namespace {

const char* kReceived = "Receive msg from remote, ip: 127.0.0.1, port: ";

class Dispatch : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(h.start("Debug")) << h.output(); }

    // The gateway has read n datagrams from the App peer by now.
    bool appDatagramsRead(size_t n)
    {
        const std::string line = kReceived + std::to_string(h.app.port());
        for (int i = 0; i < 300; ++i) {
            if (countOccurrences(h.output(), line) >= n) {
                return true;
            }
            usleep(10000);
        }
        return false;
    }
    bool radioDatagramsRead(size_t n)
    {
        const std::string line = kReceived + std::to_string(h.radio.port());
        for (int i = 0; i < 300; ++i) {
            if (countOccurrences(h.output(), line) >= n) {
                return true;
            }
            usleep(10000);
        }
        return false;
    }

    GatewayHarness h;
};

TEST(TestMessages, ReferenceCrcMatchesTheCheckValue)
{
    EXPECT_EQ(0x6F91, referenceCrc(bytes({'1', '2', '3', '4', '5', '6', '7', '8', '9'})));
}

TEST_F(Dispatch, StartsBothServicesAndBothClients)
{
    const std::string out = h.output();
    EXPECT_NE(std::string::npos, out.find("Success to init udp server, listen ip:127.0.0.1, listen port:" +
                                          std::to_string(h.xoltPort)));
    EXPECT_NE(std::string::npos, out.find("Create udp client success, remote ip:127.0.0.1, remote port:" +
                                          std::to_string(h.radio.port())));
    EXPECT_NE(std::string::npos, out.find("create Udp client: localhost --> 127.0.0.1:" + std::to_string(h.app.port())))
        << out;
}

TEST_F(Dispatch, BadEnvelopesAreReportedAndTheGatewayKeepsServing)
{
    // Not an envelope: a field tag with an invalid wire type.
    h.sendEnvelope(std::string("\x0f\x01\x02", 3));
    EXPECT_TRUE(h.waitForOutput("Fail to parse protobuf msg, msg len:3")) << h.output();

    // Parses, but carries no header.
    quelby::protocol::QuelbyMessage noHead;
    noHead.mutable_data()->set_value("x");
    h.sendEnvelope(noHead.SerializeAsString());
    EXPECT_TRUE(h.waitForOutput("When handle protobuf msg, the head data is not set.")) << h.output();

    // An empty datagram parses as an empty envelope: no header either.
    h.sendEnvelope(std::string());
    ASSERT_TRUE(appDatagramsRead(3));
    EXPECT_EQ(2u, countOccurrences(h.output(), "When handle protobuf msg, the head data is not set."));

    // Ids without a handler, including 0, are dropped without a line.
    const size_t linesBefore = countOccurrences(h.output(), "\n");
    h.sendEnvelope(appRequest(0, 1));
    h.sendEnvelope(appRequest(0x12345, 2));
    ASSERT_TRUE(appDatagramsRead(5));
    usleep(50000);
    EXPECT_EQ(linesBefore + 2, countOccurrences(h.output(), "\n")) << h.output();

    std::string any;
    EXPECT_FALSE(h.app.receive(any, 100));
    EXPECT_FALSE(h.radio.receive(any, 0));

    // Still reading after all of it.
    h.sendEnvelope(std::string("\x0f", 1));
    EXPECT_TRUE(h.waitForOutput("Fail to parse protobuf msg, msg len:1")) << h.output();
}

TEST_F(Dispatch, LinkBytesWithoutAHandlerAreDroppedSilently)
{
    // Garbage without a start byte, a frame for a msgid nobody serves, a frame
    // with a broken CRC, and a frame cut in half by the end of the datagram.
    h.sendFrame(bytes({0x01, 0x02, 0x03, 0x04}));
    h.sendFrame(radioFrame(0, 32, 14, 7, bytes({1, 2, 3}), 0));
    std::vector<uint8_t> broken = radioFrame(1, 32, 14, 7, bytes({1, 2, 3}), 0);
    broken.back() ^= 0xFF;
    h.sendFrame(broken);
    // The printed line reaches the output with the next log line's flush.
    h.sendFrame(bytes({0x00}));
    ASSERT_TRUE(radioDatagramsRead(4)) << h.output();
    EXPECT_TRUE(h.waitForOutput("======XOLT_FRAMING_BAD_CRC, msgid: 7, sourceid: 14=========")) << h.output();

    std::string any;
    EXPECT_FALSE(h.app.receive(any, 100));
    EXPECT_TRUE(h.process->running());
}

} // namespace
