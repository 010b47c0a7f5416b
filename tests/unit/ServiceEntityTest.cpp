// Service entities: which socket types open a listener, and how datagrams
// reach the handler manager (bytes through the frame parser, envelopes
// through the protobuf decoder). Probe handlers registered under the
// manager's prefixes record what arrives.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IpcFramework.h"
#include "KsLog.h"
#include "MsgHandleManager.h"
#include "ProtobufService.h"
#include "Reflex.h"
#include "ServiceBase.h"
#include "TempDir.h"
#include "UdpPeer.h"
#include "XoltProtocol.h"
#include "XoltService.h"
#include "quelby_protocol.pb.h"

namespace {

constexpr uint32_t kProbeMessageType = 0x7FFF0002;
constexpr uint8_t kProbeMsgid = 242;

// Calls seen by the probes; written on the event-loop thread.
std::mutex g_mutex;
std::vector<std::string> g_calls;

void record(const std::string& call)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_calls.push_back(call);
}

// The calls once count of them have arrived, or what there is after 2 s.
std::vector<std::string> waitForCalls(size_t count)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (std::chrono::steady_clock::now() < deadline) {
        {
            std::lock_guard<std::mutex> lock(g_mutex);
            if (g_calls.size() >= count) {
                return g_calls;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::lock_guard<std::mutex> lock(g_mutex);
    return g_calls;
}

} // namespace

class CServiceProbeFrame : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CServiceProbeFrame)
public:
    int32_t handleMsg(__xolt_message_head* head) override
    {
        std::string call = "frame seq " + std::to_string(head->seq) + " len " + std::to_string(head->len);
        if (head->len > 0) {
            call += " first " + std::to_string(xolt_payload(head)[0]);
        }
        record(call);
        return 0;
    }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CServiceProbeFrame, "Xolt2Protobuf.ServiceProbeFrame", kProbeMsgid)

class CServiceProbeRequest : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CServiceProbeRequest)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override
    {
        record("request seq " + std::to_string(msg.head_data().message_sequence()) + " body " +
               msg.data().value());
        return 0;
    }
};
LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CServiceProbeRequest, "Protobuf2Xolt.ServiceProbeRequest", kProbeMessageType,
                                  "Init protobuf to xolt handle, msg id:")

namespace {

const std::vector<uint8_t> kFrameA = {0xFD, 0x02, 0x00, 0x00, 0x01, 0x02, 0xF2, 0xF4, 0x11, 0x22, 0x69, 0x10};
const std::vector<uint8_t> kFrameB = {0xFD, 0x01, 0x00, 0x01, 0x01, 0x02, 0xF2, 0xF4, 0x33, 0x51, 0xB3};
// Its payload starts with a start byte.
const std::vector<uint8_t> kFrameC = {0xFD, 0x03, 0x00, 0x02, 0x01, 0x02, 0xF2,
                                      0xF7, 0xFD, 0x44, 0x55, 0x15, 0x70};

std::string join(std::initializer_list<std::vector<uint8_t>> parts)
{
    std::string all;
    for (const auto& part : parts) {
        all += bytesOf(part);
    }
    return all;
}

class ServiceEntityTest : public testing::Test {
protected:
    void SetUp() override
    {
        CKsLog::CLogConfig log;
        log.m_strLogFilePath = m_dir.file("test.log");
        log.m_iLogLevel = E_LOG_LEVEL_DEBUG;
        CKsLog::getInstance()->addLogConfig(&log);
        output([] {
            CKsLog::getInstance()->reInit();
            // Once per process, as in the gateway: the loop and the
            // listeners live until the process ends.
            static bool s_started = (CIpcFramework::getInstance()->init() == 0 &&
                                     CMsgHandleManager::getInstance()->init() == 0);
            EXPECT_TRUE(s_started);
        });
        std::lock_guard<std::mutex> lock(g_mutex);
        g_calls.clear();
    }

    template <typename F>
    static std::string output(F call)
    {
        testing::internal::CaptureStdout();
        call();
        return testing::internal::GetCapturedStdout();
    }

    // A service made through the factory, kept for the life of the process
    // like main control keeps its services.
    static ICServiceBase* makeService(const std::string& key)
    {
        std::list<ICServiceBase*> made;
        CReflex<ICServiceBase>::create(key, made);
        EXPECT_EQ(1u, made.size()) << key;
        static std::vector<std::unique_ptr<ICServiceBase>> s_keep;
        s_keep.emplace_back(made.empty() ? nullptr : made.front());
        return s_keep.back().get();
    }

    static CServiceEntityInfo serviceRecord(int socketType, const std::string& protocol, uint16_t port)
    {
        CServiceEntityInfo info;
        info.m_iSocketType = socketType;
        info.m_strProtocolType = protocol;
        info.m_strListenIP = "127.0.0.1";
        info.m_iListenPort = port;
        return info;
    }

    TempDir m_dir;
};

TEST_F(ServiceEntityTest, EntitiesAreRegisteredUnderTheirProtocolKeys)
{
    EXPECT_EQ(&CXoltService::create, CReflex<ICServiceBase>::findCreator("Service.xolt"));
    EXPECT_EQ(&CProtobufService::create, CReflex<ICServiceBase>::findCreator("Service.protobuf"));
}

TEST_F(ServiceEntityTest, OnlySocketTypesZeroAndTwoOpenAListener)
{
    for (int type : {1, 3, 7, -1}) {
        ICServiceBase* service = makeService("Service.xolt");
        const std::string out = output([&] { EXPECT_EQ(0, service->start(serviceRecord(type, "xolt", 1))); });
        EXPECT_EQ(std::string::npos, out.find("create Udp server")) << type << out;
    }

    for (int type : {0, 2}) {
        ICServiceBase* service = makeService("Service.protobuf");
        const uint16_t port = freeUdpPort();
        const std::string out = output([&] { EXPECT_EQ(0, service->start(serviceRecord(type, "protobuf", port))); });
        EXPECT_NE(std::string::npos, out.find("create Udp server: 127.0.0.1 : " + std::to_string(port))) << out;
        EXPECT_NE(std::string::npos, out.find("[Info] ServiceBase.cpp:")) << out;
        EXPECT_NE(std::string::npos, out.find("Success to init udp server, listen ip:127.0.0.1, listen port:" +
                                              std::to_string(port)))
            << out;
        const std::string closing = output([&] { EXPECT_EQ(0, service->stop()); });
        EXPECT_NE(std::string::npos, closing.find("Close udp service, listen ip:127.0.0.1, listen port:" +
                                                  std::to_string(port)))
            << closing;
    }
}

TEST_F(ServiceEntityTest, ListenerOnAPortInUseFailsWithItsAddress)
{
    UdpPeer holder;
    ICServiceBase* service = makeService("Service.xolt");
    const std::string out = output([&] { EXPECT_EQ(-1, service->start(serviceRecord(2, "xolt", holder.port()))); });
    EXPECT_NE(std::string::npos, out.find("[Error] ServiceBase.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find("Fail to init udp server, listen ip:127.0.0.1, listen port:" +
                                          std::to_string(holder.port())))
        << out;
}

TEST_F(ServiceEntityTest, LinkDatagramsReachTheHandlerFrameByFrame)
{
    ICServiceBase* service = makeService("Service.xolt");
    const uint16_t port = freeUdpPort();
    output([&] { ASSERT_EQ(0, service->start(serviceRecord(2, "xolt", port))); });

    UdpPeer radio;
    // Garbage first, then two frames in one datagram.
    ASSERT_TRUE(radio.sendTo(port, "\x01\x02garbage" + join({kFrameA, kFrameB})));
    // A frame split over two datagrams, its payload holding a start byte.
    const std::string c = bytesOf(kFrameC);
    ASSERT_TRUE(radio.sendTo(port, c.substr(0, 9)));
    ASSERT_TRUE(radio.sendTo(port, c.substr(9)));

    EXPECT_EQ((std::vector<std::string>{"frame seq 0 len 2 first 17", "frame seq 1 len 1 first 51",
                                        "frame seq 2 len 3 first 253"}),
              waitForCalls(3));
}

TEST_F(ServiceEntityTest, BytesWithoutAStartByteCallNothingAndLogNothing)
{
    ICServiceBase* service = makeService("Service.xolt");
    const std::string out = output([&] {
        EXPECT_EQ(0, service->onReadData(nullptr, 6, "\x01\x02\x03\x04\x05\x06"));
        EXPECT_EQ(0, service->onReadData(nullptr, -1, "\xFD"));
        EXPECT_EQ(0, service->onReadData(nullptr, 0, "\xFD"));
    });
    EXPECT_EQ("", out);
    // The parser is still idle: a whole frame is delivered.
    const std::string a = bytesOf(kFrameA);
    service->onReadData(nullptr, static_cast<int>(a.size()), a.data());
    EXPECT_EQ((std::vector<std::string>{"frame seq 0 len 2 first 17"}), waitForCalls(1));
}

TEST_F(ServiceEntityTest, EnvelopeDatagramsAreDecodedAndDispatched)
{
    ICServiceBase* service = makeService("Service.protobuf");
    const uint16_t port = freeUdpPort();
    output([&] { ASSERT_EQ(0, service->start(serviceRecord(0, "protobuf", port))); });

    quelby::protocol::QuelbyMessage msg;
    msg.mutable_head_data()->set_message_id(static_cast<quelby::protocol::MessageType>(kProbeMessageType));
    msg.mutable_head_data()->set_message_sequence(41);
    msg.mutable_data()->set_value("abc");
    std::string bytes;
    ASSERT_TRUE(msg.SerializeToString(&bytes));

    UdpPeer app;
    ASSERT_TRUE(app.sendTo(port, bytes));
    msg.mutable_head_data()->set_message_sequence(42);
    msg.clear_data();
    ASSERT_TRUE(msg.SerializeToString(&bytes));
    ASSERT_TRUE(app.sendTo(port, bytes));

    EXPECT_EQ((std::vector<std::string>{"request seq 41 body abc", "request seq 42 body "}), waitForCalls(2));
}

TEST_F(ServiceEntityTest, UndecodableOrHeadlessEnvelopeIsLoggedAndDropped)
{
    ICServiceBase* service = makeService("Service.protobuf");
    std::string out = output([&] { EXPECT_EQ(0, service->onReadData(nullptr, 3, "\xFF\xFF\xFF")); });
    EXPECT_NE(std::string::npos, out.find("[Error] ProtobufService.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find("Fail to parse protobuf msg, msg len:3")) << out;

    // An empty datagram is a valid envelope without a header.
    out = output([&] { EXPECT_EQ(0, service->onReadData(nullptr, 0, "")); });
    EXPECT_EQ(std::string::npos, out.find("Fail to parse")) << out;
    EXPECT_NE(std::string::npos, out.find("When handle protobuf msg, the head data is not set.")) << out;
    EXPECT_TRUE(waitForCalls(0).empty());
}

} // namespace
