#ifndef LUMBRIX_TEST_TEST_LOG_H
#define LUMBRIX_TEST_TEST_LOG_H

#include <gtest/gtest.h>

#include <string>

#include "common/core/KsLog.h"
#include "kit/TempDir.h"

// Points the logger's internal target at a file in dir, at the given level,
// and reopens it; the start line it prints is swallowed. Every line still
// goes to standard output too, where the tests read it.
void useTestLog(const CTempDir& dir, int level = E_LOG_LEVEL_DEBUG);

// What f printed on standard output.
template <class F>
std::string captureStdout(F f)
{
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}

#endif
