#ifndef LUMBRIX_UTF8_TEXT_H
#define LUMBRIX_UTF8_TEXT_H

#include <cstddef>
#include <string>

// Text from the radio side for the App's proto3 string fields, which the
// App's parsers accept only as valid UTF-8. Firmware fields are fixed byte
// arrays that may hold anything.

// Appends the n bytes at text to out, each byte that is not part of a valid
// UTF-8 sequence replaced by U+FFFD (EF BF BD). Valid text, multi-byte
// characters included, is appended unchanged; a character cut short counts
// as invalid bytes, one replacement each.
void appendUtf8(std::string& out, const char* text, size_t n);

#endif
