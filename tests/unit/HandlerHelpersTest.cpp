// The frame sender every App-to-radio handler shares, when the radio side
// has no client, and the UTF-8 repair of radio text. What the sender sends,
// and the App envelope helper, are checked through the real gateway by the
// end-to-end tests.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ClientEntityManager.h"
#include "TestLog.h"
#include "Utf8Text.h"
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

// Radio bytes in, App text out ("?" stands for U+FFFD, one per bad byte).
TEST(Utf8Text, EveryByteOutsideAValidSequenceIsReplaced)
{
    const struct {
        const char* in;
        const char* out;
    } rows[] = {
        {"plain ASCII\x7F", "plain ASCII\x7F"},
        {"\xC3\xA9 \xE4\xB8\xAD \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF", "\xC3\xA9 \xE4\xB8\xAD \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF"},
        {"\x80\xBF", "??"},                  // continuation bytes alone
        {"\xC0\xAF\xC1\xBF", "????"},      // overlong two-byte forms
        {"\xE0\x9F\xBF", "???"},            // overlong three-byte form
        {"\xED\xA0\x80", "???"},            // a surrogate
        {"\xF0\x8F\xBF\xBF", "????"},      // overlong four-byte form
        {"\xF4\x90\x80\x80\xF5\xFF", "??????"}, // beyond U+10FFFF
        {"a\xE4\xB8", "a??"},                // cut at the end
        {"\xE4\xB8" "a", "??a"},             // cut in the middle
        {"\xF0\x9F\x98", "???"},
    };
    for (const auto& row : rows) {
        std::string out;
        appendUtf8(out, row.in, strlen(row.in));
        std::string expected;
        for (const char* p = row.out; *p != '\0'; ++p) {
            expected += *p == '?' ? std::string("\xEF\xBF\xBD") : std::string(1, *p);
        }
        EXPECT_EQ(expected, out) << row.in;
    }
}

} // namespace
