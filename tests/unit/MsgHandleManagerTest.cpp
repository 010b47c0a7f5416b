// Handler creation by factory prefix and dispatch of link frames by msgid.
// The probe handlers below register under the manager's own prefix, with
// ids that no gateway handler serves. Envelope dispatch is checked through
// the real gateway by the end-to-end tests.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "MsgHandleManager.h"
#include "TestLog.h"
#include "XoltProtocol.h"

namespace {

constexpr uint8_t kProbeMsgid = 240;
constexpr uint8_t kSharedMsgid = 241;

std::vector<std::string> g_calls;
int g_destroyed = 0;

} // namespace

class CProbeFrame : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CProbeFrame)
public:
    ~CProbeFrame() override { ++g_destroyed; }
    int32_t handleMsg(__xolt_message_head* head) override
    {
        g_calls.push_back("frame seq " + std::to_string(head->seq));
        return 0;
    }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CProbeFrame, "Xolt2Protobuf.ProbeFrame", kProbeMsgid)

// Two handlers for one msgid: the registry creates them in key order, so
// the "Later" one is registered last and must win.
class CProbeEarlier : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CProbeEarlier)
public:
    int32_t handleMsg(__xolt_message_head*) override
    {
        g_calls.push_back("earlier");
        return 0;
    }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CProbeEarlier, "Xolt2Protobuf.ProbeEarlier", kSharedMsgid)

class CProbeLater : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CProbeLater)
public:
    int32_t handleMsg(__xolt_message_head*) override
    {
        g_calls.push_back("later");
        return 0;
    }
};
LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CProbeLater, "Xolt2Protobuf.ProbeLater", kSharedMsgid)

namespace {

class MsgHandleManagerTest : public testing::Test {
protected:
    void SetUp() override
    {
        useTestLog(m_dir);
        captureStdout([] { EXPECT_EQ(0, CMsgHandleManager::getInstance()->init()); });
        g_calls.clear();
        g_destroyed = 0;
    }

    void TearDown() override { CMsgHandleManager::destroy(); }

    static void handle(uint8_t msgid, uint8_t seq, uint8_t destid = 1, uint8_t sourceid = 2)
    {
        xolt_message_head_t head{};
        head.magic = XOLT_STX;
        head.msgid = msgid;
        head.seq = seq;
        head.destid = destid;
        head.sourceid = sourceid;
        CMsgHandleManager::getInstance()->handleXoltMsg(&head);
    }

    TempDir m_dir;
};

TEST_F(MsgHandleManagerTest, FrameGoesToTheHandlerOfItsMsgidWhateverItsAddresses)
{
    const std::string out = captureStdout([] {
        handle(kProbeMsgid, 3, 1, 2);
        handle(kProbeMsgid, 4, 35, 14);
        handle(249, 5);  // no handler: dropped without a line
    });
    EXPECT_EQ((std::vector<std::string>{"frame seq 3", "frame seq 4"}), g_calls);
    EXPECT_EQ("", out);

    const std::string null = captureStdout([] { CMsgHandleManager::getInstance()->handleXoltMsg(nullptr); });
    EXPECT_NE(std::string::npos, null.find("[Error] MsgHandleManager.cpp:")) << null;
    EXPECT_NE(std::string::npos, null.find("When handle xolt msg, the data is null.")) << null;
}

TEST_F(MsgHandleManagerTest, LaterHandlerForAnIdReplacesTheEarlierOne)
{
    handle(kSharedMsgid, 0);
    EXPECT_EQ((std::vector<std::string>{"later"}), g_calls);

    // An explicit registration replaces the factory-made handler, which is
    // released with its last owner.
    std::shared_ptr<CXolt2ProtobufHandleBase> sameIdAsProbe(
        static_cast<CXolt2ProtobufHandleBase*>(CProbeFrame::create()));
    CMsgHandleManager::getInstance()->registerXolt2ProtobufHandle(sameIdAsProbe);
    EXPECT_EQ(1, g_destroyed);
    std::shared_ptr<CXolt2ProtobufHandleBase> replacement(
        static_cast<CXolt2ProtobufHandleBase*>(CProbeEarlier::create()));
    CMsgHandleManager::getInstance()->registerXolt2ProtobufHandle(replacement);
    handle(kSharedMsgid, 0);
    EXPECT_EQ((std::vector<std::string>{"later", "earlier"}), g_calls);
}

TEST_F(MsgHandleManagerTest, DestroyReleasesTheHandlersAndInitBuildsFreshOnes)
{
    CMsgHandleManager::destroy();
    EXPECT_EQ(1, g_destroyed);
    captureStdout([] { CMsgHandleManager::getInstance()->init(); });
    handle(kProbeMsgid, 9);
    EXPECT_EQ((std::vector<std::string>{"frame seq 9"}), g_calls);
}

} // namespace
