// What the RC settings answer handler does with frames the link side can
// never route to it: no frame, a foreign msgid. And the one sub-command
// whose refusal is reported to the caller.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "KsLog.h"
#include "TempDir.h"
#include "XoltProtocol.h"
#include "XoltMsgPhoneSetHandle.h"

namespace {

class PhoneSetGuards : public testing::Test {
protected:
    void SetUp() override
    {
        CKsLog::CLogConfig log;
        log.m_strLogFilePath = m_dir.file("test.log");
        log.m_iLogLevel = E_LOG_LEVEL_DEBUG;
        CKsLog::getInstance()->addLogConfig(&log);
        testing::internal::CaptureStdout();
        CKsLog::getInstance()->reInit();
        testing::internal::GetCapturedStdout();
        std::memset(&m_frame, 0, sizeof(m_frame));
        m_frame.msgid = 150;
    }

    template <typename F>
    static std::string output(F call)
    {
        testing::internal::CaptureStdout();
        call();
        return testing::internal::GetCapturedStdout();
    }

    TempDir m_dir;
    CXoltMsgPhoneSetHandle m_handle;
    xolt_message_head_t m_frame;
};

TEST_F(PhoneSetGuards, NoFrameAndForeignIdAreLoggedAndDropped)
{
    EXPECT_EQ(150u, m_handle.getSupportMsgType());
    std::string out = output([this] { EXPECT_EQ(0, m_handle.handleMsg(nullptr)); });
    EXPECT_NE(std::string::npos, out.find("[Warn] XoltMsgPhoneSetHandle.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find(" Parameter set rsp msg, the msg is null.\n")) << out;

    m_frame.msgid = 151;
    out = output([this] { EXPECT_EQ(0, m_handle.handleMsg(&m_frame)); });
    EXPECT_NE(std::string::npos, out.find(" Msg id invalid, need 150\n")) << out;
}

TEST_F(PhoneSetGuards, CalibrationProgressOfUnknownLengthFails)
{
    uint8_t* payload = xolt_payload(&m_frame);
    payload[0] = 25;
    payload[1] = 16;
    m_frame.len = 24;
    std::string out = output([this] { EXPECT_EQ(-1, m_handle.handleMsg(&m_frame)); });
    EXPECT_NE(std::string::npos, out.find("[Info] XoltMsgPhoneSetHandle.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find(" illegal length:16\n")) << out;

    // An unsupported type is not a failure.
    payload[0] = 16;
    out = output([this] { EXPECT_EQ(0, m_handle.handleMsg(&m_frame)); });
    EXPECT_NE(std::string::npos, out.find(" Parameter type 16 is not support.\n")) << out;
}

} // namespace
