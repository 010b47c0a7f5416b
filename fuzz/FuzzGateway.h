#ifndef LUMBRIX_FUZZ_GATEWAY_H
#define LUMBRIX_FUZZ_GATEWAY_H

#include <cstddef>
#include <cstdint>
#include <string>

struct __xolt_message_head;

// The process-wide set-up shared by the fuzz targets, and the state they
// prepare between inputs. It brings the gateway up the way main control
// does, minus the sockets: the logger writes every level to /dev/null (so
// that each log expression is evaluated), the handler manager creates every
// registered handler, and the client manager sends through CFuzzClient.
//
// Preparing state never changes what the gateway's code does with an
// input: it only puts the pending-request queues and the link parser into a
// state the running gateway could be in, so that the waits the gateway is
// built to make (the unchecked pop of a rocker-mode answer, a push on a
// queue that already holds 128 unanswered requests) are not taken for
// hangs. Owns nothing: the singletons it sets up own their parts.
class CFuzzGateway {
public:
    // Once per process; prints what it registered to stderr.
    static void setUp(const char* targetName);

    // Logger at Debug level into /dev/null, on the internal target.
    static void quietLogger();

    // Link parser of channel 0 back to its state at process start.
    static void resetLinkParser();

    // Empties every pending-request queue.
    static void drainPendingQueues();

    // Brings the queue of msgType up to count entries (count <= 128).
    static void keepPending(uint32_t msgType, size_t count);

    // Pending-queue pushes an envelope of these bytes may make on one key,
    // at most (only a parameter get pushes once per rocker-mode element).
    static size_t mostPushesOfOneEnvelope(const uint8_t* data, size_t size);

    // A frame as sent on the wire: magic, length, header checksum and a CRC
    // that closes with its msgid's CRC extra (for msgid 150 also the set-
    // gimbal-speed extra 150). why says what is wrong.
    static bool isSoundWireFrame(const uint8_t* bytes, size_t len, std::string& why);

    // A record the parser delivered: length at most 512, agreeing with its
    // two length bytes, and a CRC over what it holds that matches the CRC
    // bytes after its payload.
    static bool isSoundDeliveredRecord(const __xolt_message_head* msg, std::string& why);

    // CRC-16/MCRF4XX, bit by bit, independent of the gateway's table code.
    static uint16_t referenceCrc(const uint8_t* bytes, size_t len, uint8_t crcExtra);
};

#endif
