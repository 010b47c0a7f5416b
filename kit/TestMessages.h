#ifndef LUMBRIX_KIT_TEST_MESSAGES_H
#define LUMBRIX_KIT_TEST_MESSAGES_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "quelby_protocol.pb.h"

// What the tests send and receive, built independently of the gateway's own
// code: App envelopes through the generated protobuf classes, and radio-side
// frames with a bitwise CRC of the tests' own.

// A request envelope as the App sends it: head_type 1 unless given, the body
// serialised into data.value (no body: data unset).
std::string appRequest(uint32_t messageId, int32_t sequence, const google::protobuf::Message* body = nullptr,
                       int32_t headType = 1, const std::string& token = "App");

// Decodes a datagram from the gateway into an envelope; false if it is not one.
bool parseEnvelope(const std::string& bytes, quelby::protocol::QuelbyMessage& out);

// Decodes the envelope's data.value into body.
bool parseBody(const quelby::protocol::QuelbyMessage& envelope, google::protobuf::Message& body);

// CRC-16/MCRF4XX computed bit by bit (reflected polynomial 0x8408, start
// 0xFFFF, no final xor).
uint16_t referenceCrc(const std::vector<uint8_t>& bytes);

// A complete frame as the radio side sends it: header checksum and CRC
// (covering the header after the magic byte, the payload and crcExtra).
std::vector<uint8_t> radioFrame(uint8_t seq, uint8_t destid, uint8_t sourceid, uint8_t msgid,
                                const std::vector<uint8_t>& payload, uint8_t crcExtra);

std::vector<uint8_t> bytes(std::initializer_list<int> values);
std::string bytesOf(const std::vector<uint8_t>& bytes);
// Upper-case hex digits, no separators.
std::string hexOf(const std::string& bytes);

#endif
