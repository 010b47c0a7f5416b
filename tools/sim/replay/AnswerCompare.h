#ifndef LUMBRIX_ANSWER_COMPARE_H
#define LUMBRIX_ANSWER_COMPARE_H

#include <cstdint>
#include <string>
#include <vector>

// Tells whether an answer of the gateway is the one a capture recorded, and
// if not, what differs. Stateless.
class CAnswerCompare {
public:
    // A frame to the radio side: byte for byte, apart from what the gateway
    // numbers itself: the sequence byte, the header checksum that covers it,
    // and the CRC. Datagrams that are not one whole frame are compared whole.
    // The difference: both in hex.
    static bool sameFrame(const std::vector<uint8_t>& recorded, const std::vector<uint8_t>& replayed,
                          std::string& difference);
    // A message to the App: field by field, bodies included, apart from the
    // header's time_stamp.
    static bool sameEnvelope(const std::vector<uint8_t>& recorded, const std::vector<uint8_t>& replayed,
                             std::string& difference);
};

#endif
