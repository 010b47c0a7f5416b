#include "kit/TestMessages.h"

#include <google/protobuf/any.pb.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <regex>
#include <sstream>

namespace gp = google::protobuf;

void fillAppEnvelope(quelby::protocol::QuelbyMessage& envelope, uint32_t messageId, int32_t sequence,
                     const gp::Message* body, int32_t headType)
{
    quelby::protocol::CommonHead* head = envelope.mutable_head_data();
    head->set_token("App");
    head->set_head_type(headType);
    head->set_source_id(1);
    head->set_message_id(static_cast<quelby::protocol::MessageType>(messageId));
    head->set_message_sequence(sequence);
    if (body != nullptr) {
        body->SerializeToString(envelope.mutable_data()->mutable_value());
    } else {
        envelope.clear_data();
    }
}

std::string appRequest(uint32_t messageId, int32_t sequence, const gp::Message* body, int32_t headType,
                       const std::string& token)
{
    quelby::protocol::QuelbyMessage envelope;
    fillAppEnvelope(envelope, messageId, sequence, body, headType);
    envelope.mutable_head_data()->set_token(token);
    envelope.mutable_head_data()->set_time_stamp(1);
    return envelope.SerializeAsString();
}

bool parseEnvelope(const std::string& bytes, quelby::protocol::QuelbyMessage& out)
{
    return out.ParseFromString(bytes);
}

int64_t wallMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
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

std::unique_ptr<gp::Message> messageOf(const std::string& s)
{
    const size_t open = s.find('{'), close = s.rfind('}');
    if (open == std::string::npos || close == std::string::npos || close < open) {
        return nullptr;
    }
    std::istringstream words(s.substr(0, open));
    std::string type;
    words >> type;
    const gp::Descriptor* d = gp::DescriptorPool::generated_pool()->FindMessageTypeByName("quelby.protocol." + type);
    std::unique_ptr<gp::Message> m(d ? gp::MessageFactory::generated_factory()->GetPrototype(d)->New() : nullptr);
    return m && gp::TextFormat::ParseFromString(s.substr(open + 1, close - open - 1), m.get()) ? std::move(m) : nullptr;
}

bool unescape(const std::string& quoted, std::string& out)
{
    gp::Any any;
    const bool ok = gp::TextFormat::ParseFromString("value: " + quoted, &any);
    out = any.value();
    return ok;
}

bool parseBytes(const std::string& s, std::vector<int>& out)
{
    static const std::regex word(
        R"((\.\.\.)|~(\d+)|([0-9a-f]{2})\.\.([0-9a-f]{2})|((?:[0-9a-f]{2}|\?\?)+|".*")(?:\*(\d+))?)",
        std::regex::icase);
    std::istringstream in(s);
    std::smatch m;
    for (std::string w, str; in >> w;) {
        std::vector<int> unit;
        if (!std::regex_match(w, m, word) || (w[0] == '"' && !unescape(m[5], str))) {
            return false;
        } else if (m[1].matched || m[2].matched) {
            m[1].matched ? out.push_back(-2) : out.resize(std::stoul(m[2]), 0);
        } else if (m[3].matched) {
            for (int b = std::stoi(m[3], nullptr, 16); b <= std::stoi(m[4], nullptr, 16); ++b) {
                out.push_back(b);
            }
        }
        for (unsigned char c : w[0] == '"' ? str : "") {
            unit.push_back(c);
        }
        for (size_t k = 0; m[5].matched && w[0] != '"' && k < static_cast<size_t>(m[5].length()); k += 2) {
            unit.push_back(w[k] == '?' ? -1 : std::stoi(w.substr(k, 2), nullptr, 16));
        }
        for (unsigned long n = m[6].matched ? std::stoul(m[6]) : 1; n > 0; --n) {
            out.insert(out.end(), unit.begin(), unit.end());
        }
    }
    return true;
}

std::string bytesOf(const std::string& text)
{
    std::vector<int> bytes;
    return parseBytes(text, bytes) ? std::string(bytes.begin(), bytes.end()) : "";
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

size_t countOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + std::max<size_t>(part.size(), 1))) {
        ++count;
    }
    return count;
}

std::vector<std::string> partsOf(const std::string& text, const std::string& separator)
{
    std::vector<std::string> parts;
    for (size_t from = 0, to = 0; from < text.size(); from = to + separator.size()) {
        to = std::min(text.find(separator, from), text.size());
        parts.push_back(text.substr(from, to - from));
    }
    return parts;
}

std::string replaced(std::string text, const std::string& key, const std::string& value)
{
    for (size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + value.size())) {
        text.replace(at, key.size(), value);
    }
    return text;
}
