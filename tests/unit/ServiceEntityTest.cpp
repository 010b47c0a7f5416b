// Link frames from the service entities to the handlers: which socket
// types open a listener, how datagrams reach the handler manager through
// the frame parser, and how the manager picks a handler by msgid. Probe
// handlers register under the manager's own prefix, with ids that no
// gateway handler serves. Envelope dispatch is checked through the real
// gateway by the end-to-end tests.
#include "common/ipc/IpcFramework.h"
#include "msgHandle/MsgHandleManager.h"
#include "dataAccess/service/ServiceBase.h"
#include "kit/UdpPeer.h"
#include "UnitTest.h"
#include "msgHandle/XoltProtocol.h"

namespace {

// What the probes saw ("<probe> seq <n> len <n> first <byte>"), written on
// the event-loop thread or the test's own.
std::mutex g_mutex;
std::vector<std::string> g_calls;
int g_destroyed = 0;

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

class CProbe : public CXolt2ProtobufHandleBase {
public:
    virtual const char* name() const = 0;
    int32_t handleMsg(__xolt_message_head* head) override
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        g_calls.push_back(name() + (" seq " + std::to_string(head->seq)) + " len " + std::to_string(head->len) +
                          " first " + std::to_string(xolt_payload(head)[0]));
        return 0;
    }
};

// "Frame" serves msgid 242. "Earlier" and "Later" both serve 241: the
// registry creates them in key order, so "Later" is registered last.
class CProbeFrame : public CProbe {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CProbeFrame)
public:
    ~CProbeFrame() override { ++g_destroyed; }
    const char* name() const override { return "Frame"; }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CProbeFrame, "Xolt2Protobuf.ProbeFrame", 242)

class CProbeEarlier : public CProbe {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CProbeEarlier)
public:
    const char* name() const override { return "Earlier"; }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CProbeEarlier, "Xolt2Protobuf.ProbeEarlier", 241)

class CProbeLater : public CProbe {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CProbeLater)
public:
    const char* name() const override { return "Later"; }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CProbeLater, "Xolt2Protobuf.ProbeLater", 241)

namespace {

const std::string kFrameA = bytesOf("fd 02 00 00 01 02 f2 f4 11 22 69 10");
const std::string kFrameB = bytesOf("fd 01 00 01 01 02 f2 f4 33 51 b3");
// Its payload starts with a start byte.
const std::string kFrameC = bytesOf("fd 03 00 02 01 02 f2 f7 fd 44 55 15 70");

class ServiceEntityTest : public testing::Test {
protected:
    void SetUp() override
    {
        useTestLog(m_dir);
        captureStdout([] {
            // Once per process, as in the gateway: the loop and the
            // listeners live until the process ends.
            static bool s_started =
                (CIpcFramework::getInstance()->init() == 0 && CMsgHandleManager::getInstance()->init() == 0);
            EXPECT_TRUE(s_started);
        });
        std::lock_guard<std::mutex> lock(g_mutex);
        g_calls.clear();
    }

    // A service made through the factory, kept for the life of the process
    // like main control keeps its services.
    static ICServiceBase* makeService(const std::string& key)
    {
        static std::vector<std::unique_ptr<ICServiceBase>> s_keep;
        s_keep.push_back(made<ICServiceBase>(key));
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

    CTempDir m_dir;
};

TEST_F(ServiceEntityTest, OnlySocketTypesZeroAndTwoOpenAListener)
{
    CUdpPeer holder{0};
    const std::string listening = "listen ip:127.0.0.1, listen port:%P";
    const struct {
        const char* m_pszKey;
        int m_iSocketType;
        bool m_bPortInUse;
        int m_iResult;
        std::string m_strPrinted; // lines, " | " between them; "%P" stands for the port
    } rows[] = {
        {"Service.xolt", 1, false, 0, ""},
        {"Service.xolt", 3, false, 0, ""},
        {"Service.xolt", -1, false, 0, ""},
        {"Service.protobuf", 0, false, 0,
         "create Udp server: 127.0.0.1 : %P | [Info] ServiceBase.cpp: | Close udp service, " + listening},
        {"Service.xolt", 2, false, 0, "create Udp server: 127.0.0.1 : %P | Close udp service, " + listening},
        {"Service.xolt", 2, true, -1, "[Error] ServiceBase.cpp: | Fail to init udp server, " + listening},
    };
    for (const auto& row : rows) {
        ICServiceBase* service = makeService(row.m_pszKey);
        const uint16_t port = row.m_bPortInUse ? holder.port() : CUdpPeer::freePort();
        const std::string out = captureStdout([&] {
            EXPECT_EQ(row.m_iResult, service->start(serviceRecord(row.m_iSocketType, port)));
            EXPECT_EQ(0, service->stop());
        });
        const bool listens = row.m_iResult == 0 && !row.m_strPrinted.empty();
        EXPECT_EQ(listens, out.find("create Udp server") != std::string::npos) << out;
        for (const std::string& line : partsOf(replaced(row.m_strPrinted, "%P", std::to_string(port)))) {
            EXPECT_THAT(out, HasSubstr(line)) << row.m_iSocketType;
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
    EXPECT_EQ("", withoutLoopStart(out));
    EXPECT_EQ((std::vector<std::string>{"Frame seq 0 len 2 first 17"}), waitForCalls(1));

    const uint16_t port = CUdpPeer::freePort();
    captureStdout([&] { ASSERT_EQ(0, service->start(serviceRecord(2, port))); });
    CUdpPeer radio{0};
    ASSERT_TRUE(radio.sendTo(port, "\x01\x02garbage" + kFrameA + kFrameB));
    ASSERT_TRUE(radio.sendTo(port, kFrameC.substr(0, 9)));
    ASSERT_TRUE(radio.sendTo(port, kFrameC.substr(9)));
    EXPECT_EQ((std::vector<std::string>{"Frame seq 0 len 2 first 17", "Frame seq 0 len 2 first 17",
                                        "Frame seq 1 len 1 first 51", "Frame seq 2 len 3 first 253"}),
              waitForCalls(4));
}

void handle(uint8_t msgid, uint8_t seq, uint8_t destid = 1, uint8_t sourceid = 2)
{
    xolt_message_head_t head{};
    head.magic = XOLT_STX;
    head.msgid = msgid;
    head.seq = seq;
    head.destid = destid;
    head.sourceid = sourceid;
    CMsgHandleManager::getInstance()->handleXoltMsg(&head);
}

// Last in this file: it rebuilds the manager the other tests share.
TEST_F(ServiceEntityTest, ManagerGivesAFrameToTheLastHandlerRegisteredForItsMsgid)
{
    g_destroyed = 0;
    std::string out = captureStdout([] {
        handle(242, 3, 1, 2);
        handle(242, 4, 35, 14);
        handle(249, 5); // no handler: dropped without a line
        handle(241, 6);
    });
    EXPECT_EQ("", withoutLoopStart(out));
    out = captureStdout([] { CMsgHandleManager::getInstance()->handleXoltMsg(nullptr); });
    EXPECT_THAT(out, HasSubstr("[Error] MsgHandleManager.cpp:"));
    EXPECT_THAT(out, HasSubstr("When handle xolt msg, the data is null."));

    // An explicit registration replaces the factory-made handler, which is
    // released with its last owner.
    std::shared_ptr<CXolt2ProtobufHandleBase> frame(new CProbeFrame());
    CMsgHandleManager::getInstance()->registerXolt2ProtobufHandle(frame);
    EXPECT_EQ(1, g_destroyed);
    std::shared_ptr<CXolt2ProtobufHandleBase> earlier(new CProbeEarlier());
    CMsgHandleManager::getInstance()->registerXolt2ProtobufHandle(earlier);
    handle(241, 7);

    // Destroy releases the handlers and init builds fresh ones.
    frame.reset();
    CMsgHandleManager::destroy();
    EXPECT_EQ(2, g_destroyed);
    captureStdout([] { EXPECT_EQ(0, CMsgHandleManager::getInstance()->init()); });
    handle(242, 8);
    EXPECT_EQ(
        (std::vector<std::string>{"Frame seq 3 len 0 first 0", "Frame seq 4 len 0 first 0", "Later seq 6 len 0 first 0",
                                  "Earlier seq 7 len 0 first 0", "Frame seq 8 len 0 first 0"}),
        waitForCalls(5));
}

} // namespace
