#include "framework/TrafficRecorder.h"

#include <algorithm>
#include <chrono>
#include <sstream>

#include "common/core/KsLog.h"
#include "common/util/KsTime.h"
#include "framework/PendingDepths.h"
#include "common/core/ThreadGenerator.h"
#include "quelby_protocol.pb.h"

int CTrafficRecorder::start(const CRecorderConfig& config)
{
    if (m_bActive || (!config.recording() && !config.counting())) {
        return 0;
    }
    m_config = config;
    if (config.recording()) {
        m_pRing.reset(new CRecordRing(RING_CAPACITY));
        m_pFiles.reset(new CCaptureFiles(config.m_strRecordFile, config.m_iRecordFileSize, config.m_iRecordFileCnt));
    }
    if (config.counting()) {
        CPendingDepths::enable();
    }
    m_spThread = std::make_shared<CThreadGenerator>("recorder");
    if (m_spThread->start(this, &CTrafficRecorder::run) != 0) {
        KS_LOG_ERROR("Fail to start the recorder thread.");
        return -1;
    }
    m_bActive = true;
    if (config.recording()) {
        KS_LOG_INFO("Recording every datagram into " << config.m_strRecordFile << ", " << config.m_iRecordFileCnt
                                                     << " files of at most " << config.m_iRecordFileSize << " bytes");
    }
    if (config.counting()) {
        KS_LOG_INFO("Counters every " << config.m_iStatsInterval << " s");
    }
    return 0;
}

CEndpointTap* CTrafficRecorder::addTap(CEndpointTap::EKind kind, const std::string& name, const sockaddr_in& address,
                                       int fd)
{
    const int n = m_iTaps.load(std::memory_order_relaxed);
    if (!m_bActive || n == MAX_TAPS) {
        return nullptr;
    }
    m_apTap[n].reset(new CEndpointTap(kind, name, address, fd, m_pRing.get()));
    // The recorder thread reads taps up to the count it sees.
    m_iTaps.store(n + 1, std::memory_order_release);
    return m_apTap[n].get();
}

void CTrafficRecorder::run()
{
    using Clock = std::chrono::steady_clock;
    const Clock::duration interval = std::chrono::seconds(m_config.m_iStatsInterval);
    Clock::time_point nextCounters = Clock::now() + interval;
    while (true) {
        // Without a recording, nothing to do until the next counters.
        int64_t waitMs = m_pRing ? HAND_OVER_MS : 1000;
        if (m_config.counting()) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(nextCounters - Clock::now()).count();
            waitMs = std::max<int64_t>(0, std::min<int64_t>(waitMs, left));
        }
        if (m_pRing) {
            m_pRing->wait(static_cast<int>(waitMs));
            m_pRing->drain([this](const uint8_t* records, size_t length) { m_pFiles->write(records, length); });
        } else {
            CKsTime::sleep(static_cast<int>(waitMs));
        }
        if (m_config.counting() && Clock::now() >= nextCounters) {
            nextCounters += interval;
            logCounters();
        }
    }
}

void CTrafficRecorder::logCounters()
{
    const int taps = m_iTaps.load(std::memory_order_acquire);
    for (int i = 0; i < taps; ++i) {
        if (!m_apTap[i]->hasSocket()) {
            continue; // an endpoint that failed to start
        }
        KS_LOG_INFO("Counters " << m_apTap[i]->counterLine());
    }
    std::ostringstream pending;
    CPendingDepths::forEach([&pending](uint32_t msgType, uint32_t depth) {
        if (depth == 0) {
            return;
        }
        const int id = static_cast<int>(msgType);
        pending << " "
                << (quelby::protocol::MessageType_IsValid(id)
                        ? quelby::protocol::MessageType_Name(static_cast<quelby::protocol::MessageType>(id))
                        : std::to_string(msgType))
                << "=" << depth;
    });
    KS_LOG_INFO("Counters pending requests:" << (pending.tellp() == 0 ? " none" : pending.str()));
    if (m_pRing) {
        KS_LOG_INFO("Counters recording " << m_pFiles->path() << ": records=" << m_pFiles->written()
                                          << " lost=" << m_pFiles->lost() + m_pRing->lost());
    }
}
