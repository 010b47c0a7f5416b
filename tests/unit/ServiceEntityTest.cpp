// Service entities: which socket types open a listener, and how link
// datagrams reach the handler manager through the frame parser. A probe
// handler registered under the manager's prefix records what arrives.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IpcFramework.h"
#include "MsgHandleManager.h"
#include "Reflex.h"
#include "ServiceBase.h"
#include "TestLog.h"
#include "UdpPeer.h"
#include "XoltProtocol.h"

namespace {

constexpr uint8_t kProbeMsgid = 242;

// Frames seen by the probe; written on the event-loop thread.
std::mutex g_mutex;
std::vector<std::string> g_calls;

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
        std::lock_guard<std::mutex> lock(g_mutex);
        g_calls.push_back("frame seq " + std::to_string(head->seq) + " len " + std::to_string(head->len) +
                          " first " + std::to_string(xolt_payload(head)[0]));
        return 0;
    }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CServiceProbeFrame, "Xolt2Protobuf.ServiceProbeFrame", kProbeMsgid)

namespace {

const std::vector<uint8_t> kFrameA = {0xFD, 0x02, 0x00, 0x00, 0x01, 0x02, 0xF2, 0xF4, 0x11, 0x22, 0x69, 0x10};
const std::vector<uint8_t> kFrameB = {0xFD, 0x01, 0x00, 0x01, 0x01, 0x02, 0xF2, 0xF4, 0x33, 0x51, 0xB3};
// Its payload starts with a start byte.
const std::vector<uint8_t> kFrameC = {0xFD, 0x03, 0x00, 0x02, 0x01, 0x02, 0xF2,
                                      0xF7, 0xFD, 0x44, 0x55, 0x15, 0x70};

class ServiceEntityTest : public testing::Test {
protected:
    void SetUp() override
    {
        useTestLog(m_dir);
        captureStdout([] {
            // Once per process, as in the gateway: the loop and the
            // listeners live until the process ends.
            static bool s_started = (CIpcFramework::getInstance()->init() == 0 &&
                                     CMsgHandleManager::getInstance()->init() == 0);
            EXPECT_TRUE(s_started);
        });
        std::lock_guard<std::mutex> lock(g_mutex);
        g_calls.clear();
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

    static CServiceEntityInfo serviceRecord(int socketType, uint16_t port)
    {
        CServiceEntityInfo info;
        info.m_iSocketType = socketType;
        info.m_strListenIP = "127.0.0.1";
        info.m_iListenPort = port;
        return info;
    }

    TempDir m_dir;
};

TEST_F(ServiceEntityTest, OnlySocketTypesZeroAndTwoOpenAListener)
{
    for (int type : {1, 3, 7, -1}) {
        ICServiceBase* service = makeService("Service.xolt");
        const std::string out = captureStdout([&] { EXPECT_EQ(0, service->start(serviceRecord(type, 1))); });
        EXPECT_EQ(std::string::npos, out.find("create Udp server")) << type << out;
    }

    for (int type : {0, 2}) {
        ICServiceBase* service = makeService("Service.protobuf");
        const uint16_t listen = freeUdpPort();
        const std::string port = std::to_string(listen);
        const std::string out = captureStdout([&] {
            EXPECT_EQ(0, service->start(serviceRecord(type, listen)));
            EXPECT_EQ(0, service->stop());
        });
        EXPECT_NE(std::string::npos, out.find("create Udp server: 127.0.0.1 : " + port)) << out;
        EXPECT_NE(std::string::npos, out.find("[Info] ServiceBase.cpp:")) << out;
        EXPECT_NE(std::string::npos, out.find("Close udp service, listen ip:127.0.0.1, listen port:" + port)) << out;
    }
}

TEST_F(ServiceEntityTest, ListenerOnAPortInUseFailsWithItsAddress)
{
    UdpPeer holder;
    ICServiceBase* service = makeService("Service.xolt");
    const std::string out =
        captureStdout([&] { EXPECT_EQ(-1, service->start(serviceRecord(2, holder.port()))); });
    EXPECT_NE(std::string::npos, out.find("[Error] ServiceBase.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find("Fail to init udp server, listen ip:127.0.0.1, listen port:" +
                                          std::to_string(holder.port())))
        << out;
}

TEST_F(ServiceEntityTest, LinkDatagramsReachTheHandlerFrameByFrame)
{
    ICServiceBase* service = makeService("Service.xolt");
    const uint16_t port = freeUdpPort();
    captureStdout([&] { ASSERT_EQ(0, service->start(serviceRecord(2, port))); });

    UdpPeer radio;
    // Garbage first, then two frames in one datagram.
    ASSERT_TRUE(radio.sendTo(port, "\x01\x02garbage" + bytesOf(kFrameA) + bytesOf(kFrameB)));
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
    const std::string out = captureStdout([&] {
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

} // namespace
