// The UTF-8 repair of radio text before it goes into an App string field.
#include <cstring>

#include "UnitTest.h"
#include "Utf8Text.h"

namespace {

// Radio bytes in, App text out ("?" stands for U+FFFD, one per bad byte).
TEST(Utf8Text, EveryByteOutsideAValidSequenceIsReplaced)
{
    const struct {
        const char* in;
        const char* out;
    } rows[] = {
        {"plain ASCII\x7F", "plain ASCII\x7F"},
        {"\xC3\xA9 \xE4\xB8\xAD \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF", "\xC3\xA9 \xE4\xB8\xAD \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF"},
        {"\xC2\x80\xDF\xBF", "\xC2\x80\xDF\xBF"},  // the first and last two-byte leads
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
