#include "framework/RecordRing.h"

#include <time.h>

#include <cerrno>
#include <cstring>

#include "common/util/PcapWriter.h"

CRecordRing::CRecordRing(size_t capacity) : m_pBuffer(new uint8_t[capacity]), m_capacity(capacity)
{
    sem_init(&m_semWake, 0, 0);
}

CRecordRing::~CRecordRing()
{
    sem_destroy(&m_semWake);
}

bool CRecordRing::put(const sockaddr_in& from, const sockaddr_in& to, const char* data, size_t length)
{
    const size_t need = CPcapWriter::recordLength(length);
    uint64_t head = m_ullHeadOwn;
    size_t at = static_cast<size_t>(head & (m_capacity - 1));
    const size_t skip = m_capacity - at < need ? m_capacity - at : 0;
    const uint64_t tail = m_ullTail.load(std::memory_order_acquire);
    if (head + skip + need - tail > m_capacity) {
        m_ullLost.store(m_ullLost.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        return false;
    }
    if (skip >= CPcapWriter::RECORD_HEADER_LEN) {
        memcpy(m_pBuffer.get() + at + 8, &SKIP_TO_END, sizeof(SKIP_TO_END));
    }
    head += skip;
    at = static_cast<size_t>(head & (m_capacity - 1));

    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const timeval when{now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
    head += CPcapWriter::formatRecord(m_pBuffer.get() + at, from, to, reinterpret_cast<const uint8_t*>(data), length,
                                      when, m_usIpId++);
    m_ullHeadOwn = head;
    m_ullHead.store(head, std::memory_order_release);

    const bool quarterFull = head - tail >= m_capacity / 4;
    if (quarterFull && !m_bWoken) {
        sem_post(&m_semWake);
    }
    m_bWoken = quarterFull;
    return true;
}

void CRecordRing::wait(int timeoutMs)
{
    timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += timeoutMs / 1000;
    until.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
    if (until.tv_nsec >= 1000000000L) {
        until.tv_sec += 1;
        until.tv_nsec -= 1000000000L;
    }
    while (sem_timedwait(&m_semWake, &until) != 0 && errno == EINTR) {
    }
}

size_t CRecordRing::runAt(size_t at, uint64_t available) const
{
    size_t run = 0;
    while (run < available && m_capacity - (at + run) >= CPcapWriter::RECORD_HEADER_LEN) {
        uint32_t stored;
        memcpy(&stored, m_pBuffer.get() + at + run + 8, sizeof(stored));
        if (stored == SKIP_TO_END) {
            break;
        }
        run += CPcapWriter::storedLength(m_pBuffer.get() + at + run);
    }
    return run;
}
