// Handler creation by factory prefix and dispatch by message id. The probe
// handlers below register under the manager's own prefixes, with ids that
// no gateway handler serves.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "KsLog.h"
#include "MsgHandleManager.h"
#include "TempDir.h"
#include "XoltProtocol.h"
#include "quelby_protocol.pb.h"

namespace {

constexpr uint32_t kProbeMessageType = 0x7FFF0001; // 2147418113
constexpr uint8_t kProbeMsgid = 240;
constexpr uint8_t kSharedMsgid = 241;

std::vector<std::string> g_calls;
int g_destroyed = 0;

} // namespace

class CProbeRequest : public CProtobuf2XoltHandleBase {
    LUMBRIX_PROTOBUF2XOLT_HANDLE(CProbeRequest)
public:
    int32_t handleMsg(quelby::protocol::QuelbyMessage& msg) override
    {
        g_calls.push_back("request seq " + std::to_string(msg.head_data().message_sequence()));
        return 0;
    }
};
LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CProbeRequest, "Protobuf2Xolt.ProbeRequest", kProbeMessageType,
                                  "Init protobuf to xolt handle, msg id:")

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
        CKsLog::CLogConfig log;
        log.m_strLogFilePath = m_dir.file("test.log");
        log.m_iLogLevel = E_LOG_LEVEL_DEBUG;
        CKsLog::getInstance()->addLogConfig(&log);
        output([] { CKsLog::getInstance()->reInit(); });
        m_initLog = output([] { EXPECT_EQ(0, CMsgHandleManager::getInstance()->init()); });
        g_calls.clear();
        g_destroyed = 0;
    }

    void TearDown() override { CMsgHandleManager::destroy(); }

    // The line of text that contains part, or "".
    static std::string lineWith(const std::string& text, const std::string& part)
    {
        const size_t at = text.find(part);
        if (at == std::string::npos) {
            return "";
        }
        const size_t begin = text.rfind('\n', at);
        const size_t end = text.find('\n', at);
        return text.substr(begin == std::string::npos ? 0 : begin + 1, end == std::string::npos ? end : end - begin - 1);
    }

    static quelby::protocol::QuelbyMessage envelope(uint32_t messageId, int32_t sequence, int32_t headType)
    {
        quelby::protocol::QuelbyMessage msg;
        msg.mutable_head_data()->set_message_id(static_cast<quelby::protocol::MessageType>(messageId));
        msg.mutable_head_data()->set_message_sequence(sequence);
        msg.mutable_head_data()->set_head_type(headType);
        return msg;
    }

    static xolt_message_head_t frame(uint8_t msgid, uint8_t seq, uint8_t destid, uint8_t sourceid)
    {
        xolt_message_head_t head{};
        head.magic = XOLT_STX;
        head.msgid = msgid;
        head.seq = seq;
        head.destid = destid;
        head.sourceid = sourceid;
        return head;
    }

    // Standard output of one call.
    template <typename F>
    static std::string output(F call)
    {
        testing::internal::CaptureStdout();
        call();
        return testing::internal::GetCapturedStdout();
    }

    TempDir m_dir;
    std::string m_initLog;
};

TEST_F(MsgHandleManagerTest, InitCreatesEveryHandlerOfBothPrefixesAndLogsFromItsOwnFile)
{
    for (const char* text : {"Init protobuf to xolt handle, msg id:2147418113",
                             "Init xolt 2 protobuf handle, msg id:240", "Init xolt 2 protobuf handle, msg id:241"}) {
        const std::string line = lineWith(m_initLog, text);
        EXPECT_NE(std::string::npos, line.find("[Info] MsgHandleManagerTest.cpp:")) << text << "\n" << m_initLog;
    }
}

TEST_F(MsgHandleManagerTest, EnvelopeGoesToTheHandlerOfItsMessageIdWhateverItsHeadType)
{
    quelby::protocol::QuelbyMessage request = envelope(kProbeMessageType, 7, quelby::protocol::HEAD_TYPE_REQUEST);
    quelby::protocol::QuelbyMessage report =
        envelope(kProbeMessageType, 8, quelby::protocol::HEAD_TYPE_EVENT_REPORT);
    CMsgHandleManager::getInstance()->handleProtobufMsg(request);
    CMsgHandleManager::getInstance()->handleProtobufMsg(report);
    EXPECT_EQ((std::vector<std::string>{"request seq 7", "request seq 8"}), g_calls);
}

TEST_F(MsgHandleManagerTest, EnvelopeWithUnknownIdOrIdZeroIsDroppedSilently)
{
    quelby::protocol::QuelbyMessage unknown = envelope(kProbeMessageType + 1, 1, quelby::protocol::HEAD_TYPE_REQUEST);
    quelby::protocol::QuelbyMessage zero = envelope(0, 2, quelby::protocol::HEAD_TYPE_REQUEST);
    const std::string out = output([&] {
        CMsgHandleManager::getInstance()->handleProtobufMsg(unknown);
        CMsgHandleManager::getInstance()->handleProtobufMsg(zero);
    });
    EXPECT_EQ("", out);
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(MsgHandleManagerTest, EnvelopeWithoutHeadIsLoggedAndDropped)
{
    quelby::protocol::QuelbyMessage headless;
    headless.mutable_data()->set_value("body");
    const std::string out = output([&] { CMsgHandleManager::getInstance()->handleProtobufMsg(headless); });
    EXPECT_NE(std::string::npos, out.find("[Error] MsgHandleManager.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find("When handle protobuf msg, the head data is not set.")) << out;
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(MsgHandleManagerTest, FrameGoesToTheHandlerOfItsMsgidWhateverItsAddresses)
{
    xolt_message_head_t first = frame(kProbeMsgid, 3, 1, 2);
    xolt_message_head_t second = frame(kProbeMsgid, 4, 35, 14);
    CMsgHandleManager::getInstance()->handleXoltMsg(&first);
    CMsgHandleManager::getInstance()->handleXoltMsg(&second);
    EXPECT_EQ((std::vector<std::string>{"frame seq 3", "frame seq 4"}), g_calls);
}

TEST_F(MsgHandleManagerTest, FrameWithUnknownMsgidIsDroppedSilently)
{
    xolt_message_head_t unknown = frame(249, 0, 1, 2);
    const std::string out = output([&] { CMsgHandleManager::getInstance()->handleXoltMsg(&unknown); });
    EXPECT_EQ("", out);
    EXPECT_TRUE(g_calls.empty());
}

TEST_F(MsgHandleManagerTest, NullFrameIsLogged)
{
    const std::string out = output([] { CMsgHandleManager::getInstance()->handleXoltMsg(nullptr); });
    EXPECT_NE(std::string::npos, out.find("[Error] MsgHandleManager.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find("When handle xolt msg, the data is null.")) << out;
}

TEST_F(MsgHandleManagerTest, LaterHandlerForAnIdReplacesTheEarlierOne)
{
    xolt_message_head_t shared = frame(kSharedMsgid, 0, 1, 2);
    CMsgHandleManager::getInstance()->handleXoltMsg(&shared);
    EXPECT_EQ((std::vector<std::string>{"later"}), g_calls);

    // An explicit registration replaces the factory-made handler, which is
    // released with its last owner.
    std::shared_ptr<CXolt2ProtobufHandleBase> replacement(
        static_cast<CXolt2ProtobufHandleBase*>(CProbeEarlier::create()));
    std::shared_ptr<CXolt2ProtobufHandleBase> sameIdAsProbe(
        static_cast<CXolt2ProtobufHandleBase*>(CProbeFrame::create()));
    CMsgHandleManager::getInstance()->registerXolt2ProtobufHandle(sameIdAsProbe);
    EXPECT_EQ(1, g_destroyed);
    CMsgHandleManager::getInstance()->registerXolt2ProtobufHandle(replacement);
    CMsgHandleManager::getInstance()->handleXoltMsg(&shared);
    EXPECT_EQ((std::vector<std::string>{"later", "earlier"}), g_calls);
}

TEST_F(MsgHandleManagerTest, DestroyReleasesTheHandlersAndInitBuildsFreshOnes)
{
    CMsgHandleManager::destroy();
    EXPECT_EQ(1, g_destroyed);
    output([] { CMsgHandleManager::getInstance()->init(); });
    xolt_message_head_t probe = frame(kProbeMsgid, 9, 1, 2);
    CMsgHandleManager::getInstance()->handleXoltMsg(&probe);
    EXPECT_EQ((std::vector<std::string>{"frame seq 9"}), g_calls);
}

} // namespace
