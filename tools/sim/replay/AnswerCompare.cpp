#include "AnswerCompare.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <google/protobuf/util/message_differencer.h>
#include <sstream>

#include "AppMessageText.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

using quelby::protocol::QuelbyMessage;

namespace {

// Positions of the gateway-numbered header bytes within a frame on the wire.
constexpr size_t WIRE_SEQ = offsetof(xolt_message_head_t, seq) - offsetof(xolt_message_head_t, magic);
constexpr size_t WIRE_CHECKSUM = offsetof(xolt_message_head_t, checksum) - offsetof(xolt_message_head_t, magic);
constexpr size_t WIRE_LEN_LO = offsetof(xolt_message_head_t, len_lo) - offsetof(xolt_message_head_t, magic);
constexpr size_t WIRE_LEN_HI = offsetof(xolt_message_head_t, len_hi) - offsetof(xolt_message_head_t, magic);
constexpr size_t MAX_LISTED_BYTES = 8;

bool isOneFrame(const std::vector<uint8_t>& bytes)
{
    if (bytes.size() < XOLT_NUM_NON_PAYLOAD_BYTES || bytes[0] != XOLT_STX) {
        return false;
    }
    const size_t length = static_cast<size_t>(bytes[WIRE_LEN_LO] | bytes[WIRE_LEN_HI] << 8);
    return bytes.size() == length + XOLT_NUM_NON_PAYLOAD_BYTES;
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        out.push_back(line);
    }
    return out;
}

// The lines of a that b lacks ("recorded: ") and those b adds ("replayed: "),
// in order, from their longest common subsequence.
std::string lineDifference(const std::vector<std::string>& a, const std::vector<std::string>& b)
{
    // common[i][j]: length of the longest common subsequence of a[i..] and b[j..].
    std::vector<std::vector<size_t>> common(a.size() + 1, std::vector<size_t>(b.size() + 1, 0));
    for (size_t i = a.size(); i-- > 0;) {
        for (size_t j = b.size(); j-- > 0;) {
            common[i][j] = a[i] == b[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
        }
    }
    std::string out;
    size_t i = 0;
    size_t j = 0;
    while (i < a.size() || j < b.size()) {
        if (i < a.size() && j < b.size() && a[i] == b[j]) {
            ++i;
            ++j;
        } else if (j == b.size() || (i < a.size() && common[i + 1][j] >= common[i][j + 1])) {
            out += "\n    recorded: " + a[i++];
        } else {
            out += "\n    replayed: " + b[j++];
        }
    }
    return out;
}

} // namespace

bool CAnswerCompare::sameFrame(const std::vector<uint8_t>& recorded, const std::vector<uint8_t>& replayed,
                               std::string& difference)
{
    if (recorded.size() != replayed.size()) {
        difference = std::to_string(replayed.size()) + " bytes, recorded " + std::to_string(recorded.size());
        return false;
    }
    const bool frame = isOneFrame(recorded) && isOneFrame(replayed);
    const size_t crcAt = recorded.size() - XOLT_NUM_CHECKSUM_BYTES;
    size_t differing = 0;
    std::ostringstream out;
    for (size_t i = 0; i < recorded.size(); ++i) {
        if (recorded[i] == replayed[i] || (frame && (i == WIRE_SEQ || i == WIRE_CHECKSUM || i >= crcAt))) {
            continue;
        }
        if (++differing <= MAX_LISTED_BYTES) {
            char text[48];
            snprintf(text, sizeof(text), "%sbyte %zu: %02x, recorded %02x", differing == 1 ? "" : "; ", i, replayed[i],
                     recorded[i]);
            out << text;
        }
    }
    if (differing > MAX_LISTED_BYTES) {
        out << "; " << differing - MAX_LISTED_BYTES << " more bytes";
    }
    difference = out.str();
    return differing == 0;
}

bool CAnswerCompare::sameEnvelope(const std::vector<uint8_t>& recorded, const std::vector<uint8_t>& replayed,
                                  std::string& difference)
{
    if (recorded == replayed) {
        return true;
    }
    QuelbyMessage want;
    QuelbyMessage got;
    if (!want.ParseFromArray(recorded.data(), static_cast<int>(recorded.size()))) {
        difference = "the recorded answer is not an App envelope";
        return false;
    }
    if (!got.ParseFromArray(replayed.data(), static_cast<int>(replayed.size()))) {
        difference = "the answer is not an App envelope";
        return false;
    }
    want.mutable_head_data()->clear_time_stamp();
    got.mutable_head_data()->clear_time_stamp();
    if (google::protobuf::util::MessageDifferencer::Equals(want, got)) {
        return true;
    }
    // The differing lines of the decoded layers (the bodies travel as bytes
    // in the envelope, so they are compared decoded).
    difference =
        lineDifference(lines(CAppMessageText::describe(want, false)), lines(CAppMessageText::describe(got, false)));
    if (difference.empty()) {
        google::protobuf::util::MessageDifferencer differencer;
        differencer.ReportDifferencesToString(&difference);
        differencer.Compare(want, got);
    }
    return false;
}
