// The frame sender every App-to-radio handler shares, when the radio side
// has no client. What it sends, and the App envelope helper, are checked
// through the real gateway by the end-to-end tests.
#include <gtest/gtest.h>

#include <string>

#include "ClientEntityManager.h"
#include "TestLog.h"
#include "XoltFrameSender.h"

namespace {

TEST(XoltFrameSender, FrameToAMissingRadioClientReportsFailure)
{
    TempDir dir;
    useTestLog(dir);
    ASSERT_EQ(0, CClientEntityManager::getInstance()->init());
    const uint8_t payload[] = {9};
    CXoltFrameSender sender;
    const std::string out = captureStdout([&] { EXPECT_EQ(-1, sender.send(150, 14, payload, 1, 36)); });
    EXPECT_NE(std::string::npos, out.find("When send data to service[2], the service is not exist.")) << out;
    CClientEntityManager::destroy();
}

} // namespace
