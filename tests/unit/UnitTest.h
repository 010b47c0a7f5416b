#ifndef LUMBRIX_UNIT_TEST_H
#define LUMBRIX_UNIT_TEST_H

// What the unit tests share: the usual headers, the bounded wait and a few
// text helpers.
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

#include "kit/TempDir.h"
#include "kit/TestMessages.h"
#include "TestLog.h"

using testing::HasSubstr;
using testing::Not;

// Every wait of a unit test ends by this deadline.
constexpr std::chrono::seconds kDeadline{5};

// Polls cond every millisecond until it holds or the deadline passes.
inline bool eventually(const std::function<bool()>& cond)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!cond()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
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

// How many times part occurs in text.
inline size_t countOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// text with every occurrence of key replaced by value.
inline std::string replaced(std::string text, const std::string& key, const std::string& value)
{
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + value.size())) {
        text.replace(at, key.size(), value);
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
