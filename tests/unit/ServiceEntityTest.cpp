// Service entities: which socket types open a listener, and how link
// datagrams reach the handler manager through the frame parser. A probe
// handler registered under the manager's prefix records what arrives.

#include "IpcFramework.h"
#include "MsgHandleManager.h"
#include "Reflex.h"
#include "ServiceBase.h"
#include "UdpPeer.h"
#include "UnitTest.h"
#include "XoltProtocol.h"

namespace {

// Frames seen by the probe; written on the event-loop thread.
std::mutex g_mutex;
std::vector<std::string> g_calls;

// The calls once count of them have arrived, or what there is by the deadline.
std::vector<std::string> waitForCalls(size_t count)
{
    eventually([&] {
        std::lock_guard<std::mutex> lock(g_mutex);
        return g_calls.size() >= count;
    });
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
        g_calls.push_back("seq " + std::to_string(head->seq) + " len " + std::to_string(head->len) + " first " +
                          std::to_string(xolt_payload(head)[0]));
        return 0;
    }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CServiceProbeFrame, "Xolt2Protobuf.ServiceProbeFrame", 242)

namespace {

const std::string kFrameA = bytesOf({0xFD, 0x02, 0x00, 0x00, 0x01, 0x02, 0xF2, 0xF4, 0x11, 0x22, 0x69, 0x10});
const std::string kFrameB = bytesOf({0xFD, 0x01, 0x00, 0x01, 0x01, 0x02, 0xF2, 0xF4, 0x33, 0x51, 0xB3});
// Its payload starts with a start byte.
const std::string kFrameC = bytesOf({0xFD, 0x03, 0x00, 0x02, 0x01, 0x02, 0xF2, 0xF7, 0xFD, 0x44, 0x55, 0x15, 0x70});

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
    UdpPeer holder;
    const std::string inUse = "listen ip:127.0.0.1, listen port:" + std::to_string(holder.port());
    const struct {
        const char* m_pszKey;
        int m_iSocketType;
        bool m_bPortInUse;
        int m_iResult;
        std::vector<std::string> m_vecPrinted;  // "%P" stands for the port
    } rows[] = {
        {"Service.xolt", 1, false, 0, {}},
        {"Service.xolt", 3, false, 0, {}},
        {"Service.xolt", -1, false, 0, {}},
        {"Service.protobuf", 0, false, 0,
         {"create Udp server: 127.0.0.1 : %P", "[Info] ServiceBase.cpp:", "Close udp service, listen ip:127.0.0.1, listen port:%P"}},
        {"Service.xolt", 2, false, 0, {"create Udp server: 127.0.0.1 : %P", "Close udp service, listen ip:127.0.0.1, listen port:%P"}},
        {"Service.xolt", 2, true, -1, {"[Error] ServiceBase.cpp:", "Fail to init udp server, " + inUse}},
    };
    for (const auto& row : rows) {
        ICServiceBase* service = makeService(row.m_pszKey);
        const uint16_t port = row.m_bPortInUse ? holder.port() : freeUdpPort();
        const std::string out = captureStdout([&] {
            EXPECT_EQ(row.m_iResult, service->start(serviceRecord(row.m_iSocketType, port)));
            EXPECT_EQ(0, service->stop());
        });
        const bool listens = row.m_iResult == 0 && !row.m_vecPrinted.empty();
        EXPECT_EQ(listens, out.find("create Udp server") != std::string::npos) << out;
        for (const std::string& line : row.m_vecPrinted) {
            EXPECT_THAT(out, HasSubstr(replaced(line, "%P", std::to_string(port)))) << row.m_iSocketType;
        }
    }
}

// Bytes without a start byte call nothing and print nothing; frames come
// one by one, several in one datagram or one across two.
TEST_F(ServiceEntityTest, LinkDatagramsReachTheHandlerFrameByFrame)
{
    ICServiceBase* service = makeService("Service.xolt");
    const std::string out = captureStdout([&] {
        EXPECT_EQ(0, service->onReadData(nullptr, 6, "\x01\x02\x03\x04\x05\x06"));
        EXPECT_EQ(0, service->onReadData(nullptr, -1, "\xFD"));
        EXPECT_EQ(0, service->onReadData(nullptr, 0, "\xFD"));
        service->onReadData(nullptr, static_cast<int>(kFrameA.size()), kFrameA.data());
    });
    EXPECT_EQ("", out);
    EXPECT_EQ((std::vector<std::string>{"seq 0 len 2 first 17"}), waitForCalls(1));

    const uint16_t port = freeUdpPort();
    captureStdout([&] { ASSERT_EQ(0, service->start(serviceRecord(2, port))); });
    UdpPeer radio;
    ASSERT_TRUE(radio.sendTo(port, "\x01\x02garbage" + kFrameA + kFrameB));
    ASSERT_TRUE(radio.sendTo(port, kFrameC.substr(0, 9)));
    ASSERT_TRUE(radio.sendTo(port, kFrameC.substr(9)));
    EXPECT_EQ((std::vector<std::string>{"seq 0 len 2 first 17", "seq 0 len 2 first 17", "seq 1 len 1 first 51",
                                        "seq 2 len 3 first 253"}),
              waitForCalls(4));
}

} // namespace
