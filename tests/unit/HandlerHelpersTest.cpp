// The patterns every handler shares: the App envelope it sends, the link
// frame it sends with its module's own sequence, and the sequence queues.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "AppEnvelope.h"
#include "ClientBase.h"
#include "ClientEntityManager.h"
#include "KsLog.h"
#include "KsTime.h"
#include "TempDir.h"
#include "UdpClient.h"
#include "UdpPeer.h"
#include "XoltFrameSender.h"
#include "quelby_protocol.pb.h"

namespace {

class HandlerHelpersTest : public testing::Test {
protected:
    void SetUp() override
    {
        CKsLog::CLogConfig log;
        log.m_strLogFilePath = m_dir.file("test.log");
        log.m_iLogLevel = E_LOG_LEVEL_DEBUG;
        CKsLog::getInstance()->addLogConfig(&log);
        output([this] {
            CKsLog::getInstance()->reInit();
            ASSERT_EQ(0, CClientEntityManager::getInstance()->init());
            addClient(E_SERVICE_ID_APP, m_app.port());
            addClient(E_SERVICE_ID_RC_PROCESSOR, m_radio.port());
        });
    }

    void TearDown() override { CClientEntityManager::destroy(); }

    static void addClient(int serviceId, uint16_t port)
    {
        CClientEntityInfo info;
        info.m_iServiceId = serviceId;
        info.m_strRemoteIP = "127.0.0.1";
        info.m_iRemotePort = port;
        std::shared_ptr<ICClientBase> client(static_cast<ICClientBase*>(CUdpClient::create()));
        ASSERT_EQ(0, client->start(info));
        CClientEntityManager::getInstance()->addClientEntity(client);
    }

    template <typename F>
    static std::string output(F call)
    {
        testing::internal::CaptureStdout();
        call();
        return testing::internal::GetCapturedStdout();
    }

    static std::string receive(UdpPeer& peer)
    {
        std::string datagram;
        EXPECT_TRUE(peer.receive(datagram, 2000));
        return datagram;
    }

    TempDir m_dir;
    UdpPeer m_app;
    UdpPeer m_radio;
};

TEST_F(HandlerHelpersTest, AppEnvelopeCarriesTheFixedHeaderAndTheBodyInDataValue)
{
    quelby::protocol::RspMessage rsp;
    rsp.set_status_code(quelby::protocol::SUCCESS);
    const uint64_t before = CKsTime::getCurTimeStamp();
    int size = 0;
    const std::string out = output([&] {
        size = CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_NEST, quelby::protocol::HEAD_TYPE_RESPONSE, 0xC0001, 5,
                                       &rsp);
    });
    const uint64_t after = CKsTime::getCurTimeStamp();

    const std::string datagram = receive(m_app);
    EXPECT_EQ(static_cast<int>(datagram.size()), size);
    EXPECT_NE(std::string::npos, out.find("[Info] HandlerHelpersTest.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find("send msg to App, msg size is " + std::to_string(size))) << out;

    // data is field 2 holding an Any whose only field is value (2):
    // status_code SUCCESS is 0x10 0x01; no type_url.
    ASSERT_GE(datagram.size(), 6u);
    EXPECT_EQ(std::string("\x12\x04\x12\x02\x10\x01", 6), datagram.substr(datagram.size() - 6));

    quelby::protocol::QuelbyMessage msg;
    ASSERT_TRUE(msg.ParseFromString(datagram));
    const quelby::protocol::CommonHead& head = msg.head_data();
    EXPECT_EQ("nest", head.token());
    EXPECT_EQ(2, head.head_type());
    EXPECT_EQ(0, head.device_id());
    EXPECT_EQ(2, head.source_id());
    EXPECT_EQ(0xC0001, static_cast<int>(head.message_id()));
    EXPECT_EQ(5, head.message_sequence());
    EXPECT_EQ(0, head.version());
    EXPECT_GE(static_cast<uint64_t>(head.time_stamp()), before);
    EXPECT_LE(static_cast<uint64_t>(head.time_stamp()), after);
    EXPECT_TRUE(msg.has_data());
    EXPECT_EQ("", msg.data().type_url());
}

TEST_F(HandlerHelpersTest, EnvelopeWithoutBodyLeavesDataUnsetEvenAfterOneWithBody)
{
    quelby::protocol::RspMessage rsp;
    rsp.set_status_code(quelby::protocol::ERROR);
    rsp.set_result_code(7);
    output([&] {
        CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, quelby::protocol::HEAD_TYPE_RESPONSE, 0x9000A, 9, &rsp);
    });
    receive(m_app);

    int size = 0;
    const std::string out = output([&] {
        size = CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, quelby::protocol::HEAD_TYPE_EVENT_REPORT, 0, 0,
                                       nullptr, "send msg to app, msg size is ");
    });
    EXPECT_NE(std::string::npos, out.find("send msg to app, msg size is " + std::to_string(size))) << out;

    quelby::protocol::QuelbyMessage msg;
    ASSERT_TRUE(msg.ParseFromString(receive(m_app)));
    EXPECT_FALSE(msg.has_data());
    EXPECT_EQ("Remote", msg.head_data().token());
    EXPECT_EQ(4, msg.head_data().head_type());
    EXPECT_EQ(0, static_cast<int>(msg.head_data().message_id()));
    EXPECT_EQ(0, msg.head_data().message_sequence());

    // No text, no line.
    const std::string quiet = output([] {
        CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_RC, quelby::protocol::HEAD_TYPE_RESPONSE, 1, 1, nullptr, nullptr);
    });
    EXPECT_EQ(std::string::npos, quiet.find("msg size is")) << quiet;
    receive(m_app);
}

TEST_F(HandlerHelpersTest, EachSenderNumbersItsFramesFromZero)
{
    const uint8_t payload[] = {1, 2, 3};
    CXoltFrameSender moduleA;
    CXoltFrameSender moduleB;
    std::string out = output([&] {
        EXPECT_EQ(0, moduleA.send(150, 14, payload, 3, 36));
        EXPECT_EQ(0, moduleA.send(150, 14, payload, 3, 36));
        EXPECT_EQ(0, moduleB.send(150, 14, payload, 3, 36, false));
    });
    EXPECT_EQ(hexOf(bytesOf({0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x01, 0x02, 0x03, 0xD4, 0x80})),
              hexOf(receive(m_radio)));
    EXPECT_EQ(hexOf(bytesOf({0xFD, 0x03, 0x00, 0x01, 0x0E, 0x20, 0x96, 0xC5, 0x01, 0x02, 0x03, 0x6D, 0xC6})),
              hexOf(receive(m_radio)));
    EXPECT_EQ(hexOf(bytesOf({0xFD, 0x03, 0x00, 0x00, 0x0E, 0x20, 0x96, 0xC4, 0x01, 0x02, 0x03, 0xD4, 0x80})),
              hexOf(receive(m_radio)));

    // Two lines, from this file; the unlogged send wrote none.
    const std::string line = "Send msg to transmit, DestServiceID: 2, bytes: 13";
    const size_t first = out.find(line);
    ASSERT_NE(std::string::npos, first) << out;
    EXPECT_NE(std::string::npos, out.find(line, first + 1)) << out;
    EXPECT_EQ(std::string::npos, out.find(line, out.find(line, first + 1) + 1)) << out;
    EXPECT_NE(std::string::npos, out.find("[Info] HandlerHelpersTest.cpp:")) << out;
}

TEST_F(HandlerHelpersTest, SequenceWrapsAfter255AndEmptyPayloadMakesTenBytes)
{
    const uint8_t payload[] = {1, 2, 3};
    CXoltFrameSender sender;
    xolt_message_head_t frame;
    for (int i = 0; i < 255; ++i) {
        sender.build(frame, 150, 14, payload, 3, 36);
    }
    ASSERT_EQ(13, sender.build(frame, 150, 14, payload, 3, 36));
    EXPECT_EQ(hexOf(bytesOf({0xFD, 0x03, 0x00, 0xFF, 0x0E, 0x20, 0x96, 0xC3, 0x01, 0x02, 0x03, 0x39, 0x0C})),
              hexOf(std::string(reinterpret_cast<const char*>(xolt_wire_bytes(&frame)), 13)));

    ASSERT_EQ(10, sender.build(frame, 182, 35, nullptr, 0, 59));
    EXPECT_EQ(hexOf(bytesOf({0xFD, 0x00, 0x00, 0x00, 0x23, 0x20, 0xB6, 0xF6, 0x91, 0x75})),
              hexOf(std::string(reinterpret_cast<const char*>(xolt_wire_bytes(&frame)), 10)));
}

TEST_F(HandlerHelpersTest, FrameToAMissingRadioClientReportsFailure)
{
    CClientEntityManager::destroy();
    CClientEntityManager::getInstance()->init();
    const uint8_t payload[] = {9};
    CXoltFrameSender sender;
    int result = 0;
    const std::string out = output([&] { result = sender.send(150, 14, payload, 1, 36); });
    EXPECT_EQ(-1, result);
    EXPECT_NE(std::string::npos, out.find("When send data to service[2], the service is not exist.")) << out;
}

} // namespace
