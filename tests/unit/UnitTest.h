#ifndef LUMBRIX_UNIT_TEST_H
#define LUMBRIX_UNIT_TEST_H

// What the unit tests share: the usual headers, the test logger, the bounded
// wait and a few text helpers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/core/KsLog.h"
#include "common/ipc/Reflex.h"
#include "kit/ChildProcess.h"
#include "kit/TempDir.h"
#include "kit/TestMessages.h"

using testing::HasSubstr;
using testing::Not;

// What f printed on standard output.
template <class F>
std::string captureStdout(F f)
{
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}

// Points the logger's internal target at a file in dir, at the given level,
// and reopens it; the start line it prints is swallowed. Every line still
// goes to standard output too, where the tests read it.
inline void useTestLog(const CTempDir& dir, int level = E_LOG_LEVEL_DEBUG)
{
    CKsLog::CLogConfig config;
    config.m_strLogFilePath = dir.file("test.log");
    config.m_iLogLevel = level;
    CKsLog::getInstance()->addLogConfig(&config);
    captureStdout([] { CKsLog::getInstance()->reInit(); });
}

// Every wait of a unit test ends by this deadline.
constexpr std::chrono::seconds kDeadline{5};

// Polls cond until it holds or the deadline passes.
inline bool eventually(const std::function<bool()>& cond)
{
    return within(std::chrono::milliseconds(kDeadline).count(), cond);
}

// The one object the factory registry makes for key (null, and a failure,
// when it makes another number).
template <typename T>
std::unique_ptr<T> made(const std::string& key)
{
    std::list<T*> made;
    CReflex<T>::create(key, made);
    EXPECT_EQ(1u, made.size()) << key;
    return std::unique_ptr<T>(made.size() == 1 ? made.front() : nullptr);
}

inline void sleepMs(int ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

// text without the event loop thread's start line: that thread prints it
// whenever it first gets to run, which may be inside a test's capture.
inline std::string withoutLoopStart(std::string text)
{
    const std::string line = "Event loop thread is started\n";
    for (size_t at = text.find(line); at != std::string::npos; at = text.find(line)) {
        const size_t newline = text.rfind('\n', at);
        const size_t from = newline == std::string::npos ? 0 : newline + 1;
        text.erase(from, at + line.size() - from);
    }
    return text;
}

inline std::vector<std::string> linesOf(const std::string& path)
{
    std::vector<std::string> lines;
    std::istringstream in(readFile(path));
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

#endif
