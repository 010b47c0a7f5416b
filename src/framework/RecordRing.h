#ifndef LUMBRIX_RECORD_RING_H
#define LUMBRIX_RECORD_RING_H

#include <netinet/in.h>
#include <semaphore.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

// The recording's buffer between the event-loop thread, which copies each
// datagram into it as a capture record (CPcapWriter's format), and the
// recorder thread, which takes the records out and writes them to disk.
// One producer, one consumer, no lock: the producer publishes how far it
// has written with a release store, the consumer how far it has taken with
// another. A record never wraps round the end of the ring; the bytes it
// leaves there are skipped. When the ring has no room the record is lost
// and counted, so a slow disk never holds the gateway up.
//
// Putting a record costs a copy and a clock read through the vDSO; once a
// quarter of the ring has filled up, the producer also wakes the consumer
// (a full buffer handed over), at most once per quarter.
class CRecordRing {
public:
    // capacity: a power of two, at least 128 KiB.
    explicit CRecordRing(size_t capacity);
    ~CRecordRing();
    CRecordRing(const CRecordRing&) = delete;
    CRecordRing& operator=(const CRecordRing&) = delete;

    // Producer: one datagram from from to to, stamped now. False when lost.
    bool put(const sockaddr_in& from, const sockaddr_in& to, const char* data, size_t length);

    // Consumer: waits until a quarter of the ring has filled or timeoutMs
    // have passed.
    void wait(int timeoutMs);
    // Consumer: hands every record published so far to write(bytes, length)
    // in runs of whole records, oldest first, then frees them.
    template <typename Write>
    void drain(Write write);

    // Records lost for want of room.
    uint64_t lost() const { return m_ullLost.load(std::memory_order_relaxed); }

private:
    // A record header whose length is this marks the rest of the ring as
    // skipped.
    static constexpr uint32_t SKIP_TO_END = 0xFFFFFFFF;

    // The run of whole records from offset at, at most until end bytes are
    // taken in all; 0 when the rest of the ring is skipped.
    size_t runAt(size_t at, uint64_t available) const;

    std::unique_ptr<uint8_t[]> m_pBuffer;
    const size_t m_capacity;
    sem_t m_semWake;
    // Producer's side.
    alignas(64) std::atomic<uint64_t> m_ullHead{0};
    uint64_t m_ullHeadOwn = 0;
    uint16_t m_usIpId = 0;
    bool m_bWoken = false;
    std::atomic<uint64_t> m_ullLost{0};
    // Consumer's side.
    alignas(64) std::atomic<uint64_t> m_ullTail{0};
};

template <typename Write>
void CRecordRing::drain(Write write)
{
    const uint64_t head = m_ullHead.load(std::memory_order_acquire);
    uint64_t tail = m_ullTail.load(std::memory_order_relaxed);
    while (tail < head) {
        const size_t at = static_cast<size_t>(tail & (m_capacity - 1));
        const size_t run = runAt(at, head - tail);
        if (run == 0) {
            tail += m_capacity - at;
            continue;
        }
        write(m_pBuffer.get() + at, run);
        tail += run;
    }
    m_ullTail.store(tail, std::memory_order_release);
}

#endif
