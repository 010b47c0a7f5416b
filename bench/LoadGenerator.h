#ifndef LUMBRIX_BENCH_LOAD_GENERATOR_H
#define LUMBRIX_BENCH_LOAD_GENERATOR_H

#include <cstdint>
#include <utility>
#include <vector>

#include "kit/UdpPeer.h"

// The two high-rate paths the benchmark drives.
enum EBenchPath {
    // Raw stick state in (link msgid 150, sub-command 14), hardware-state
    // notification (RC_HARDWARE_STATE_NTFY) out to the App.
    E_BENCH_PATH_RADIO_TO_APP = 0,
    // Nest stick relay in (NEST_VIRTUAL_POLE_STATUS_NTFY), msgid 148 frame
    // out to the radio side.
    E_BENCH_PATH_APP_TO_RADIO = 1,
};

// What one measured run gave.
struct TLoadResult {
    unsigned long long sent = 0;
    unsigned long long received = 0;   // replies matched to an outstanding request
    unsigned long long unexpected = 0; // replies that matched nothing
    double seconds = 0;                // first send to last matched reply
    double p50Us = 0;                  // round trip, microseconds
    double p99Us = 0;
};

// The load generator: one UDP socket on 127.0.0.1 that sends the inputs of
// a path to the process under test and receives what it sends back (the
// gateway's clients and the reference relay both address this socket).
// Inputs are built with the sample traffic's frame and envelope builders.
// Each carries a 32-bit tag in two 16-bit stick values that the gateway
// copies into its output, so a reply is matched to its request whatever the
// order: the tag is read from the gateway's output (a frame by its CRC, an
// envelope by its message_id) and from the input itself as the reference
// relay echoes it back.
//
// A run keeps a fixed number of requests in flight: every matched reply is
// answered with one new request, in batches (recvmmsg/sendmmsg), so the
// generator spends fewer system calls per message than the process under
// test. Round trips are taken per request from its tag. Unless told to
// block, the generator polls its socket without sleeping (it has a CPU of
// its own), so the process under test never pays for waking it up and the
// figures are its own. Owns its socket; single-threaded.
class CLoadGenerator {
public:
    // Its socket is bound to an ephemeral port (port() 0 when it could not
    // be); spin: poll it.
    explicit CLoadGenerator(bool spin);
    uint16_t port() const { return m_peer.port(); }

    // count requests to targetPort with window in flight, bounded by
    // seconds; a silence of silenceMs ends it too (a reply was lost).
    TLoadResult run(EBenchPath path, uint16_t targetPort, int window, unsigned long long count, double seconds,
                    int silenceMs = 1000);

    // The next requests carry tags from firstTag on (and, as link sequence,
    // their low bytes): runs that must send the same datagrams start so.
    // Nothing may be in flight.
    void restart(uint32_t firstTag) { m_nextTag = firstTag; }

private:
    static constexpr int MAX_WINDOW = 256;
    static constexpr uint32_t RING = 4096;   // > MAX_WINDOW: slot of a tag in flight
    static constexpr int RX_SLOT = 4096;     // the gateway's own datagram limit
    static constexpr int MAX_DATAGRAM = 512; // an input

    CUdpPeer m_peer{0};
    uint32_t m_nextTag = 1;
    bool m_bSpin;
    // By tag % RING: tag + 1 while in flight (else 0), and when it was sent (ns).
    std::vector<std::pair<uint32_t, uint64_t>> m_slots = std::vector<std::pair<uint32_t, uint64_t>>(RING);
    std::vector<uint32_t> m_roundTrips; // ns, one per matched reply
    std::vector<uint8_t> m_rx = std::vector<uint8_t>(MAX_WINDOW * RX_SLOT);
    std::vector<uint8_t> m_tx = std::vector<uint8_t>(MAX_WINDOW * MAX_DATAGRAM);
};

#endif
