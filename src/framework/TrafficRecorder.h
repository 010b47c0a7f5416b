#ifndef LUMBRIX_TRAFFIC_RECORDER_H
#define LUMBRIX_TRAFFIC_RECORDER_H

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

#include "framework/CaptureFiles.h"
#include "framework/EndpointTap.h"
#include "common/core/KsSingleton.h"
#include "framework/RecordRing.h"
#include "framework/RecorderConfig.h"

class CThreadGenerator;

// The gateway's recording and counters, both off unless the configuration
// asks for them. When either is on, start() brings up one more thread, the
// recorder thread, and every endpoint that starts afterwards gets a tap
// (CEndpointTap) through which the event-loop thread counts its datagrams
// and copies them into the recording's ring. The recorder thread takes the
// records out of the ring at least ten times a second (or as soon as a
// quarter of it has filled) and writes them to the capture files, and every
// stats interval it logs one line of counters per endpoint and one with the
// pending requests, reading only published values: it goes on when the
// event-loop thread waits on a full queue. Started once by main control;
// the recorder, its taps and its thread live as long as the process.
class CTrafficRecorder : public CKsSingleton<CTrafficRecorder> {
    friend class CKsSingleton<CTrafficRecorder>;

public:
    // Starts what config asks for; nothing at all when it asks for
    // neither. 0, or -1 when the recorder thread did not start (the
    // gateway then runs without both).
    int start(const CRecorderConfig& config);

    // A tap for an endpoint (see CEndpointTap), or null when neither
    // counting nor recording is on. name: how the counter line names it.
    CEndpointTap* addTap(CEndpointTap::EKind kind, const std::string& name, const sockaddr_in& address, int fd);

private:
    static constexpr size_t RING_CAPACITY = 4u << 20;
    static constexpr int MAX_TAPS = 32;
    // Longest time a record waits in the ring.
    static constexpr int HAND_OVER_MS = 100;

    CTrafficRecorder() = default;
    ~CTrafficRecorder() = default;

    void run();
    void logCounters();

    CRecorderConfig m_config;
    bool m_bActive = false;
    std::unique_ptr<CRecordRing> m_pRing;
    std::unique_ptr<CCaptureFiles> m_pFiles;
    std::unique_ptr<CEndpointTap> m_apTap[MAX_TAPS];
    std::atomic<int> m_iTaps{0};
    std::shared_ptr<CThreadGenerator> m_spThread;
};

#endif
