#ifndef LUMBRIX_BENCH_LOAD_GENERATOR_H
#define LUMBRIX_BENCH_LOAD_GENERATOR_H

#include <cstdint>
#include <vector>

#include "BenchTraffic.h"
#include "kit/UdpPeer.h"

// What one measured run gave.
struct TLoadResult {
    uint64_t sent = 0;
    uint64_t received = 0;   // replies matched to an outstanding request
    uint64_t lost = 0;       // requests given up after a silence
    uint64_t unexpected = 0; // replies that matched nothing
    double seconds = 0;      // first send to last matched reply
    double rate = 0;         // matched replies per second
    double p50Us = 0;        // round trip, microseconds
    double p99Us = 0;
    bool complete = false; // every request answered before the deadline
};

// The load generator: one UDP socket on 127.0.0.1 that sends the inputs of
// a path to the process under test and receives what it sends back (the
// gateway's clients and the reference relay both address this socket). A
// run keeps a fixed number of requests in flight: every matched reply is
// answered with one new request, in batches (recvmmsg/sendmmsg), so the
// generator spends fewer system calls per message than the process under
// test. Round trips are taken per request from the tag it carries. By
// default the generator polls its socket without sleeping (it has a CPU of
// its own), so the process under test never pays for waking it up and the
// figures are its own; setSpin(false) makes it block in the receive instead.
// Owns its socket; single-threaded.
class CLoadGenerator {
public:
    CLoadGenerator();
    ~CLoadGenerator();
    CLoadGenerator(const CLoadGenerator&) = delete;
    CLoadGenerator& operator=(const CLoadGenerator&) = delete;

    // Binds the socket to an ephemeral port. 0 or -1.
    int open();
    uint16_t port() const { return m_peer.port(); }
    void setSpin(bool spin) { m_bSpin = spin; }

    // Sends one request at a time until one is answered; false when none
    // is within timeoutMs (the process under test is not up yet).
    bool probe(EBenchPath path, uint16_t targetPort, int timeoutMs);

    // count requests to targetPort with window in flight, bounded by
    // seconds. A silence of silenceMs gives up the requests in flight and
    // sends new ones in their place.
    TLoadResult run(EBenchPath path, uint16_t targetPort, int window, uint64_t count, double seconds,
                    int silenceMs = 1000);

    // Reads and drops whatever arrives until quietMs pass without a datagram.
    void drain(int quietMs);

    // The next requests carry tags from firstTag on and link sequences from
    // 0, as after an earlier restart with the same tag: runs that must send
    // the same datagrams start so. Nothing may be in flight.
    void restart(uint32_t firstTag)
    {
        m_nextTag = firstTag;
        m_seq = 0;
    }

private:
    static constexpr int MAX_WINDOW = 256;
    static constexpr uint32_t RING = 4096; // > MAX_WINDOW: slot of a tag in flight
    static constexpr int RX_SLOT = 4096;   // the gateway's own datagram limit

    int sendBatch(EBenchPath path, uint16_t targetPort, int n, uint64_t now);

    CUdpPeer m_peer;
    int m_fd; // the peer's, driven with batched calls
    uint32_t m_nextTag;
    uint8_t m_seq;
    bool m_bSpin;
    std::vector<uint64_t> m_sentAt;     // by tag % RING: send time, ns
    std::vector<uint32_t> m_slotTag;    // by tag % RING: tag + 1 while in flight, else 0
    std::vector<uint32_t> m_roundTrips; // ns, one per matched reply
    std::vector<uint8_t> m_rx;          // MAX_WINDOW receive slots
    std::vector<uint8_t> m_tx;          // MAX_WINDOW send slots
};

#endif
