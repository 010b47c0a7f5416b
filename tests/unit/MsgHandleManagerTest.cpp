// Handler creation by factory prefix and dispatch of link frames by msgid.
// The probe handlers below register under the manager's own prefix, with
// ids that no gateway handler serves. Envelope dispatch is checked through
// the real gateway by the end-to-end tests.

#include "MsgHandleManager.h"
#include "UnitTest.h"
#include "XoltProtocol.h"

namespace {

std::vector<std::string> g_calls;
int g_destroyed = 0;

} // namespace

// Records "<name> seq <n>" for each frame it handles.
class CProbe : public CXolt2ProtobufHandleBase {
public:
    virtual const char* name() const = 0;
    int32_t handleMsg(__xolt_message_head* head) override
    {
        g_calls.push_back(name() + std::string(" seq ") + std::to_string(head->seq));
        return 0;
    }
};

// "Frame" serves msgid 240. "Earlier" and "Later" both serve 241: the
// registry creates them in key order, so "Later" is registered last.
class CProbeFrame : public CProbe {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CProbeFrame)
public:
    ~CProbeFrame() override { ++g_destroyed; }
    const char* name() const override { return "Frame"; }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CProbeFrame, "Xolt2Protobuf.ProbeFrame", 240)

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

TEST(MsgHandleManager, FrameGoesToTheLastHandlerRegisteredForItsMsgid)
{
    TempDir dir;
    useTestLog(dir);
    captureStdout([] { EXPECT_EQ(0, CMsgHandleManager::getInstance()->init()); });
    std::string out = captureStdout([] {
        handle(240, 3, 1, 2);
        handle(240, 4, 35, 14);
        handle(249, 5);  // no handler: dropped without a line
        handle(241, 6);
    });
    EXPECT_EQ("", out);
    out = captureStdout([] { CMsgHandleManager::getInstance()->handleXoltMsg(nullptr); });
    EXPECT_NE(std::string::npos, out.find("[Error] MsgHandleManager.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find("When handle xolt msg, the data is null.")) << out;

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
    captureStdout([] { CMsgHandleManager::getInstance()->init(); });
    handle(240, 8);
    EXPECT_EQ((std::vector<std::string>{"Frame seq 3", "Frame seq 4", "Later seq 6", "Earlier seq 7", "Frame seq 8"}),
              g_calls);
    CMsgHandleManager::destroy();
}

} // namespace
