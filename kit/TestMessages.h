#ifndef LUMBRIX_KIT_TEST_MESSAGES_H
#define LUMBRIX_KIT_TEST_MESSAGES_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "quelby_protocol.pb.h"

// What the tests send and receive, built independently of the gateway's own
// code: App envelopes and messages through the generated protobuf classes,
// radio-side frames with a bitwise CRC of the tests' own, the text forms the
// tests write them in, and the few helpers on texts and time that the tables
// and the case driver share.

// An envelope as the App sends it, into envelope, reusing its storage: token
// "App", source 1, the head type, id and sequence given, the body serialised
// into data.value (no body: data unset).
void fillAppEnvelope(quelby::protocol::QuelbyMessage& envelope, uint32_t messageId, int32_t sequence,
                     const google::protobuf::Message* body, int32_t headType = quelby::protocol::HEAD_TYPE_REQUEST);
// The same as a datagram, with time stamp 1 and the token given.
std::string appRequest(uint32_t messageId, int32_t sequence, const google::protobuf::Message* body = nullptr,
                       int32_t headType = 1, const std::string& token = "App");

// Decodes a datagram from the gateway into an envelope; false if it is not one.
bool parseEnvelope(const std::string& bytes, quelby::protocol::QuelbyMessage& out);

// The wall clock in milliseconds since the epoch, as App time stamps count.
int64_t wallMs();

// CRC-16/MCRF4XX computed bit by bit (reflected polynomial 0x8408, start
// 0xFFFF, no final xor).
uint16_t referenceCrc(const std::vector<uint8_t>& bytes);

// A complete frame as the radio side sends it: header checksum and CRC
// (covering the header after the magic byte, the payload and crcExtra).
std::vector<uint8_t> radioFrame(uint8_t seq, uint8_t destid, uint8_t sourceid, uint8_t msgid,
                                const std::vector<uint8_t>& payload, uint8_t crcExtra);

// "TYPE {TEXT}": a message of the App protocol's TYPE with the fields TEXT in
// protobuf's text format; null when either does not parse.
std::unique_ptr<google::protobuf::Message> messageOf(const std::string& typeAndText);

// A quoted string as protobuf's text format reads one (\n, \x07, \\ ...).
bool unescape(const std::string& quoted, std::string& out);

// Bytes as the tests write them: words separated by blanks, each hex digits
// in pairs ("fd0300"), a quoted "text" without blanks (escaped as above), a
// range "40..c1", a repeat "00*20" or "\"Z\"*400", "~N" zeros up to N bytes
// in all, and, for bytes expected, "??" any byte (-1) and a final "..." any
// rest (-2). False at a word it cannot read.
bool parseBytes(const std::string& text, std::vector<int>& out);
// The bytes of such a text without wildcards; empty when it cannot be read.
std::string bytesOf(const std::string& text);

// Upper-case hex digits, no separators.
std::string hexOf(const std::string& bytes);

// How many times part occurs in text, none overlapping another.
size_t countOf(const std::string& text, const std::string& part);
// The parts of text between the separators; none for an empty text.
std::vector<std::string> partsOf(const std::string& text, const std::string& separator = " | ");
// text with every occurrence of key replaced by value.
std::string replaced(std::string text, const std::string& key, const std::string& value);

#endif
