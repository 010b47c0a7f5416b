#include "msgHandle/AppEnvelopeReader.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/unknown_field_set.h>
#include <google/protobuf/wire_format_lite.h>

#include "quelby_protocol.pb.h"

namespace {

namespace qp = quelby::protocol;
using google::protobuf::internal::WireFormatLite;

// Keys of the envelope's two fields on the wire.
constexpr uint32_t HEAD_KEY =
    WireFormatLite::MakeTag(qp::QuelbyMessage::kHeadDataFieldNumber, WireFormatLite::WIRETYPE_LENGTH_DELIMITED);
constexpr uint32_t DATA_KEY =
    WireFormatLite::MakeTag(qp::QuelbyMessage::kDataFieldNumber, WireFormatLite::WIRETYPE_LENGTH_DELIMITED);

} // namespace

CAppEnvelopeReader::CAppEnvelopeReader()
    : m_envelope(std::make_unique<qp::QuelbyMessage>()), m_reflection(m_envelope->GetReflection())
{
    m_envelope->mutable_head_data();
    m_envelope->mutable_data();
}

CAppEnvelopeReader::~CAppEnvelopeReader() = default;

bool CAppEnvelopeReader::parse(const char* data, int len)
{
    // A header or data kept aside goes back first: the envelope always has
    // both while it is merged into.
    qp::QuelbyMessage& envelope = *m_envelope;
    if (m_spareHead != nullptr) {
        envelope.set_allocated_head_data(m_spareHead.release());
    }
    if (m_spareData != nullptr) {
        envelope.set_allocated_data(m_spareData.release());
    }
    envelope.mutable_head_data()->Clear();
    envelope.mutable_data()->Clear();
    if (!m_reflection->GetUnknownFields(envelope).empty()) {
        m_reflection->MutableUnknownFields(&envelope)->Clear();
    }
    if (!envelope.ParseFrom<google::protobuf::MessageLite::kMerge>(
            google::protobuf::StringPiece(data, static_cast<size_t>(len)))) {
        return false;
    }

    // A header with a token or a message id, a body with bytes, came from
    // the datagram (both were cleared before it): the usual envelope needs
    // no look at its keys. Anything else may have been there empty.
    bool hasHead = !envelope.head_data().token().empty() || envelope.head_data().message_id() != 0;
    bool hasData = !envelope.data().value().empty();
    if (!(hasHead && hasData)) {
        google::protobuf::io::CodedInputStream in(reinterpret_cast<const uint8_t*>(data), len);
        for (uint32_t key; !(hasHead && hasData) && (key = in.ReadTag()) != 0;) {
            hasHead = hasHead || key == HEAD_KEY;
            hasData = hasData || key == DATA_KEY;
            // Length-delimited fields (the envelope's own among them) skipped
            // here, anything else by protobuf's general skip.
            uint32_t size = 0;
            const bool skipped = WireFormatLite::GetTagWireType(key) == WireFormatLite::WIRETYPE_LENGTH_DELIMITED
                                     ? in.ReadVarint32(&size) && in.Skip(static_cast<int>(size))
                                     : WireFormatLite::SkipField(&in, key);
            if (!skipped) {
                break;
            }
        }
    }
    if (!hasHead) {
        m_spareHead.reset(envelope.release_head_data());
    }
    if (!hasData) {
        m_spareData.reset(envelope.release_data());
    }
    return true;
}
