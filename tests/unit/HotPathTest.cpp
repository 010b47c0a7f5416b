// The shortcuts taken on the per-line path give what the plain library
// calls gave: the text and time of every log line.
#include <gtest/gtest.h>

#include <chrono>
#include <iomanip>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "KsLog.h"
#include "KsTime.h"
#include "TempDir.h"

namespace {

class HotPathLog : public ::testing::Test {
protected:
    void SetUp() override
    {
        CKsLog::destroy();
        CKsLog::CLogConfig config;
        config.m_strLogFilePath = m_dir.file("ai.log");
        config.m_strLogExternalPath = m_dir.file("no-card");
        CKsLog::getInstance()->addLogConfig(&config);
        CKsLog::setLogLevel(E_LOG_LEVEL_DEBUG);
        testing::internal::CaptureStdout();
    }

    void TearDown() override
    {
        testing::internal::GetCapturedStdout();
        CKsLog::destroy();
        CKsLog::setLogLevel(E_LOG_LEVEL_DEBUG);
    }

    // The texts after "[time] [thread] [level] " of the file's lines.
    std::vector<std::string> texts()
    {
        CKsLog::destroy();
        std::vector<std::string> result;
        std::istringstream in(readFile(m_dir.file("ai.log")));
        for (std::string line; std::getline(in, line);) {
            size_t at = 0;
            for (int field = 0; field < 3 && at != std::string::npos; ++field) {
                at = line.find("] ", at);
                at = at == std::string::npos ? at : at + 2;
            }
            result.push_back(at == std::string::npos ? line : line.substr(at));
        }
        return result;
    }

    TempDir m_dir;
};

int g_iInnerLine = 0;

int logsWhileFormatted()
{
    g_iInnerLine = __LINE__ + 1;
    KS_LOG_DEBUG("inner line, " << 12345678901234LL);
    return 7;
}

// "YYYY-MM-DD hh:mm:ss.m" as (text up to the seconds, milliseconds), which
// orders like the instants.
std::pair<std::string, int> instant(const std::string& time)
{
    const size_t dot = time.rfind('.');
    return {time.substr(0, dot), dot == std::string::npos ? -1 : std::stoi(time.substr(dot + 1))};
}

std::string prefix(int line)
{
    return "HotPathTest.cpp:" + std::to_string(line) + " ";
}

} // namespace

TEST_F(HotPathLog, LinesKeepTheirTextWhenTheyShareTheThreadsBuffer)
{
    const std::string longText(300, 'x');
    const int first = __LINE__ + 1;
    KS_LOG_INFO(longText << " end");
    const int outer = __LINE__ + 1;
    KS_LOG_WARN("outer " << logsWhileFormatted() << " done");
    const int hex = __LINE__ + 1;
    KS_LOG_INFO(std::hex << std::setw(6) << std::setfill('*') << 255 << std::showbase << 255);
    const int plain = __LINE__ + 1;
    KS_LOG_INFO(255 << "|" << 1.5 << "|" << true);
    const int shortLine = __LINE__ + 1;
    KS_LOG_ERROR("ok");

    const std::vector<std::string> lines = texts();
    ASSERT_EQ(6u, lines.size());
    EXPECT_EQ(prefix(first) + longText + " end", lines[0]);
    EXPECT_EQ(prefix(g_iInnerLine) + "inner line, 12345678901234", lines[1]);
    EXPECT_EQ(prefix(outer) + "outer 7 done", lines[2]);
    EXPECT_EQ(prefix(hex) + "****ff0xff", lines[3]);
    // Nothing of the previous line's format carries over.
    EXPECT_EQ(prefix(plain) + "255|1.5|1", lines[4]);
    EXPECT_EQ(prefix(shortLine) + "ok", lines[5]);
}

// Lines written across at least one change of second carry a time text of
// CKsTime's form, between the ones it gives just before and just after.
TEST_F(HotPathLog, TimeTextFollowsTheClock)
{
    std::vector<std::string> before;
    std::vector<std::string> after;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    char text[64];
    CKsTime::getTimeStr(text);
    const std::string startSecond = std::string(text).substr(0, 19);
    bool secondChanged = false;
    while (std::chrono::steady_clock::now() < deadline && (!secondChanged || before.size() < 50)) {
        CKsTime::getTimeStr(text);
        before.push_back(text);
        CKsLog::getInstance()->writeLog(E_LOG_LEVEL_INFO, "tick");
        CKsTime::getTimeStr(text);
        after.push_back(text);
        secondChanged = secondChanged || after.back().substr(0, 19) != startSecond;
        usleep(2000);
    }
    ASSERT_TRUE(secondChanged);

    CKsLog::destroy();
    std::istringstream in(readFile(m_dir.file("ai.log")));
    size_t i = 0;
    for (std::string line; std::getline(in, line) && i < before.size(); ++i) {
        const std::string time = line.substr(1, line.find(']') - 1);
        const std::string ms = time.substr(time.rfind('.') + 1);
        EXPECT_TRUE(ms.size() == 1 || ms[0] != '0') << time; // milliseconds unpadded
        EXPECT_LE(instant(before[i]), instant(time)) << time << " before " << before[i];
        EXPECT_LE(instant(time), instant(after[i])) << time << " after " << after[i];
    }
    EXPECT_EQ(before.size(), i);
}
