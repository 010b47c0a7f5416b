#ifndef LUMBRIX_ENDPOINT_TAP_H
#define LUMBRIX_ENDPOINT_TAP_H

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <string>

#include "framework/RecordRing.h"

// What the gateway's counters and recording see of one endpoint: the
// datagrams a service receives or a client sends. The endpoint calls it on
// the event-loop thread, which counts and, while the gateway records,
// copies the datagram into the recording; the recorder thread reads the
// counters at any time. Each counter has that one writer, so it is counted
// with a relaxed load and store (no locked instruction) and always read
// whole. An endpoint has a tap only while counters or recording are on.
class CEndpointTap {
public:
    enum EKind {
        E_KIND_SERVICE = 0, // receives: datagrams in, and the socket's drops
        E_KIND_CLIENT = 1,  // sends: datagrams out, and failed sends
    };

    // name: how the counter line names the endpoint. address: a service's
    // configured listen address, a client's destination. fd: its socket, -1
    // until it has one (a service's tap is made before its socket, so that
    // it sees the first datagram). ring: the recording, or null.
    CEndpointTap(EKind kind, const std::string& name, const sockaddr_in& address, int fd, CRecordRing* ring);

    void setSocket(int fd) { m_fd.store(fd, std::memory_order_relaxed); }
    bool hasSocket() const { return m_fd.load(std::memory_order_relaxed) >= 0; }

    // Shows counter on the endpoint's line after the datagrams, as
    // name=value (up to 6; the counter must outlive the tap).
    void addCounter(const char* name, const std::atomic<uint64_t>& counter);
    // The line of counters since start, e.g. "service xolt 127.0.0.1:25100:
    // datagramsIn=3 bytesIn=60 framesAccepted=2 ... kernelDrops=0". Asks the
    // socket for its drops (a system call).
    std::string counterLine() const;

    // A service received len bytes from from (a failed receive, len -1,
    // is none).
    void received(const sockaddr_in& from, int len, const char* data)
    {
        if (len < 0) {
            return;
        }
        count(m_ullDatagrams);
        count(m_ullBytes, static_cast<uint64_t>(len));
        if (m_pRing != nullptr) {
            m_pRing->put(from, m_address, data, static_cast<size_t>(len));
        }
    }

    // A client's send of len bytes ended with result (0 sent, -1 failed).
    void sent(int result, int len, const char* data)
    {
        if (result != 0) {
            count(m_ullFailed);
            return;
        }
        count(m_ullDatagrams);
        count(m_ullBytes, static_cast<uint64_t>(len));
        if (m_pRing != nullptr) {
            m_pRing->put(sourceAddress(), m_address, data, static_cast<size_t>(len));
        }
    }

    // Two counters of the endpoint's own, for what it accepted and refused
    // of what it received (frames, envelopes); shown through addCounter.
    void countAccepted() { count(m_ullAccepted); }
    void countRejected() { count(m_ullRejected); }
    const std::atomic<uint64_t>& accepted() const { return m_ullAccepted; }
    const std::atomic<uint64_t>& rejected() const { return m_ullRejected; }

private:
    struct TShown {
        const char* name;
        const std::atomic<uint64_t>* counter;
    };
    static constexpr int MAX_SHOWN = 6;

    static void count(std::atomic<uint64_t>& counter, uint64_t n = 1)
    {
        counter.store(counter.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
    }

    // Datagrams the kernel dropped because the socket's receive queue was
    // full, as the socket reports them; -1 when the system does not say.
    int64_t kernelDrops() const;
    // A client socket's own address, as the kernel reports it after the
    // first send (it picks the port then).
    const sockaddr_in& sourceAddress();

    const EKind m_eKind;
    const std::string m_strName;
    const sockaddr_in m_address;
    std::atomic<int> m_fd;
    CRecordRing* const m_pRing;
    sockaddr_in m_source{};
    bool m_bSourceKnown = false;
    std::atomic<uint64_t> m_ullDatagrams{0};
    std::atomic<uint64_t> m_ullBytes{0};
    std::atomic<uint64_t> m_ullAccepted{0};
    std::atomic<uint64_t> m_ullRejected{0};
    std::atomic<uint64_t> m_ullFailed{0};
    // Entries below the count are complete (release on adding, acquire on
    // reading): the recorder thread may read while the endpoint starts.
    TShown m_astShown[MAX_SHOWN] = {};
    std::atomic<int> m_iShown{0};
};

#endif
