#include "msgHandle/Utf8Text.h"

#include <cstdint>

namespace {

constexpr char REPLACEMENT[] = "\xEF\xBF\xBD";

bool isContinuation(uint8_t b)
{
    return (b & 0xC0) == 0x80;
}

// Length of the valid UTF-8 sequence at p (at most n bytes available), or
// 0 when the byte at p does not start one. Overlong forms, surrogates and
// code points above U+10FFFF are invalid.
size_t sequenceLength(const uint8_t* p, size_t n)
{
    const uint8_t b = p[0];
    if (b < 0x80) {
        return 1;
    }
    size_t len = 0;
    uint8_t lo = 0x80; // allowed range of the second byte
    uint8_t hi = 0xBF;
    if (b >= 0xC2 && b <= 0xDF) {
        len = 2;
    } else if (b >= 0xE0 && b <= 0xEF) {
        len = 3;
        lo = b == 0xE0 ? 0xA0 : 0x80;
        hi = b == 0xED ? 0x9F : 0xBF;
    } else if (b >= 0xF0 && b <= 0xF4) {
        len = 4;
        lo = b == 0xF0 ? 0x90 : 0x80;
        hi = b == 0xF4 ? 0x8F : 0xBF;
    } else {
        return 0;
    }
    if (n < len || p[1] < lo || p[1] > hi) {
        return 0;
    }
    for (size_t i = 2; i < len; ++i) {
        if (!isContinuation(p[i])) {
            return 0;
        }
    }
    return len;
}

} // namespace

void appendUtf8(std::string& out, const char* text, size_t n)
{
    const uint8_t* p = reinterpret_cast<const uint8_t*>(text);
    size_t i = 0;
    while (i < n) {
        const size_t len = sequenceLength(p + i, n - i);
        if (len == 0) {
            out += REPLACEMENT;
            ++i;
        } else {
            out.append(text + i, len);
            i += len;
        }
    }
}
