#include "kit/TestMessages.h"

#include <cstdio>
#include <numeric>

std::string appRequest(uint32_t messageId, int32_t sequence, const google::protobuf::Message* body, int32_t headType,
                       const std::string& token)
{
    quelby::protocol::QuelbyMessage envelope;
    quelby::protocol::CommonHead* head = envelope.mutable_head_data();
    head->set_token(token);
    head->set_head_type(headType);
    head->set_source_id(1);
    head->set_message_id(static_cast<quelby::protocol::MessageType>(messageId));
    head->set_message_sequence(sequence);
    head->set_time_stamp(1);
    if (body != nullptr) {
        envelope.mutable_data()->set_value(body->SerializeAsString());
    }
    return envelope.SerializeAsString();
}

bool parseEnvelope(const std::string& bytes, quelby::protocol::QuelbyMessage& out)
{
    return out.ParseFromString(bytes);
}

bool parseBody(const quelby::protocol::QuelbyMessage& envelope, google::protobuf::Message& body)
{
    return body.ParseFromString(envelope.data().value());
}

uint16_t referenceCrc(const std::vector<uint8_t>& bytes)
{
    uint16_t crc = 0xFFFF;
    for (uint8_t b : bytes) {
        crc ^= b;
        for (int i = 0; i < 8; ++i) {
            crc = (crc & 1) ? static_cast<uint16_t>((crc >> 1) ^ 0x8408) : static_cast<uint16_t>(crc >> 1);
        }
    }
    return crc;
}

std::vector<uint8_t> radioFrame(uint8_t seq, uint8_t destid, uint8_t sourceid, uint8_t msgid,
                                const std::vector<uint8_t>& payload, uint8_t crcExtra)
{
    const size_t n = payload.size();
    std::vector<uint8_t> frame{
        0xFD, static_cast<uint8_t>(n & 0xFF), static_cast<uint8_t>(n >> 8), seq, destid, sourceid, msgid};
    frame.push_back(static_cast<uint8_t>(std::accumulate(frame.begin(), frame.end(), 0u)));
    frame.insert(frame.end(), payload.begin(), payload.end());
    std::vector<uint8_t> covered(frame.begin() + 1, frame.end());
    covered.push_back(crcExtra);
    const uint16_t crc = referenceCrc(covered);
    frame.insert(frame.end(), {static_cast<uint8_t>(crc & 0xFF), static_cast<uint8_t>(crc >> 8)});
    return frame;
}

std::vector<uint8_t> bytes(std::initializer_list<int> values)
{
    return std::vector<uint8_t>(values.begin(), values.end());
}

std::string bytesOf(const std::vector<uint8_t>& bytes)
{
    return std::string(bytes.begin(), bytes.end());
}

std::string hexOf(const std::string& bytes)
{
    std::string out;
    char digits[4];
    for (const unsigned char c : bytes) {
        snprintf(digits, sizeof(digits), "%02X", c);
        out += digits;
    }
    return out;
}
