#ifndef LUMBRIX_APP_ENVELOPE_READER_H
#define LUMBRIX_APP_ENVELOPE_READER_H

#include <memory>

namespace google {
namespace protobuf {
class Any;
class Reflection;
} // namespace protobuf
} // namespace google
namespace quelby {
namespace protocol {
class CommonHead;
class QuelbyMessage;
} // namespace protocol
} // namespace quelby

// Decodes App envelopes (QuelbyMessage), one datagram at a time, into one
// envelope that it keeps, with its header and data and their strings: after
// the first datagrams nothing is allocated.
//
// A parse into a reused generated message clears it first, and clearing
// deletes the header and the data, which the parse then allocates anew. The
// reader instead clears the header, the data and the envelope's unknown
// fields, its only other content (nothing of the previous datagram is left;
// the strings keep their storage), and merges the datagram into that: the
// fields a parse into a new envelope gives, with the same checks (strict
// UTF-8 among them) and the same result. Only whether
// the header and the data are present does not show in the merged envelope
// (both are): a header or a body that holds something was there; one that
// holds nothing is looked for among the keys of the datagram's top-level
// fields. An absent one is taken out and kept aside for the next datagram.
// Not thread-safe: one reader per receiving thread.
class CAppEnvelopeReader {
public:
    CAppEnvelopeReader();
    ~CAppEnvelopeReader();
    CAppEnvelopeReader(const CAppEnvelopeReader&) = delete;
    CAppEnvelopeReader& operator=(const CAppEnvelopeReader&) = delete;

    // Decodes the len bytes at data as ParseFromArray into a new envelope
    // would; false when they are not an envelope.
    bool parse(const char* data, int len);

    // The envelope of the last parse, valid until the next one.
    quelby::protocol::QuelbyMessage& envelope() { return *m_envelope; }

private:
    std::unique_ptr<quelby::protocol::QuelbyMessage> m_envelope;
    // The envelope's reflection, asked for once: it reaches the unknown
    // fields, which the generated class gives no accessor for.
    const google::protobuf::Reflection* m_reflection;
    // The header and the data while the envelope has none.
    std::unique_ptr<quelby::protocol::CommonHead> m_spareHead;
    std::unique_ptr<google::protobuf::Any> m_spareData;
};

#endif
