#include "AnswerCompare.h"

#include <cstddef>
#include <dtl/dtl.hpp>
#include <google/protobuf/util/message_differencer.h>
#include <sstream>

#include "AppMessageText.h"
#include "XoltFrameText.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

using quelby::protocol::QuelbyMessage;

namespace {

// Positions of the gateway-numbered header bytes within a frame on the wire.
constexpr size_t WIRE_SEQ = offsetof(xolt_message_head_t, seq) - offsetof(xolt_message_head_t, magic);
constexpr size_t WIRE_CHECKSUM = offsetof(xolt_message_head_t, checksum) - offsetof(xolt_message_head_t, magic);
constexpr size_t WIRE_LEN_LO = offsetof(xolt_message_head_t, len_lo) - offsetof(xolt_message_head_t, magic);
constexpr size_t WIRE_LEN_HI = offsetof(xolt_message_head_t, len_hi) - offsetof(xolt_message_head_t, magic);

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
// in order, from their shortest edit script.
std::string lineDifference(const std::vector<std::string>& a, const std::vector<std::string>& b)
{
    dtl::Diff<std::string> diff(a, b);
    diff.compose();
    std::string out;
    for (const auto& [line, edit] : diff.getSes().getSequence()) {
        if (edit.type != dtl::SES_COMMON) {
            out += (edit.type == dtl::SES_DELETE ? "\n    recorded: " : "\n    replayed: ") + line;
        }
    }
    return out;
}

} // namespace

bool CAnswerCompare::sameFrame(const std::vector<uint8_t>& recorded, const std::vector<uint8_t>& replayed,
                               std::string& difference)
{
    auto numbered = [](std::vector<uint8_t> bytes) {
        if (isOneFrame(bytes)) {
            bytes[WIRE_SEQ] = bytes[WIRE_CHECKSUM] = bytes[bytes.size() - 1] = bytes[bytes.size() - 2] = 0;
        }
        return bytes;
    };
    if (numbered(recorded) == numbered(replayed)) {
        return true;
    }
    difference = "\n    recorded: " + CXoltFrameText::hex(recorded.data(), recorded.size()) +
                 "\n    replayed: " + CXoltFrameText::hex(replayed.data(), replayed.size());
    return false;
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
