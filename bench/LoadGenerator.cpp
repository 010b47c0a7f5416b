#include "LoadGenerator.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>

namespace {

uint64_t nowNs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}

// The q-quantile of the round trips, in microseconds (reorders them).
double quantileUs(std::vector<uint32_t>& values, double q)
{
    if (values.empty()) {
        return 0;
    }
    size_t k = static_cast<size_t>(q * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), values.begin() + static_cast<long>(k), values.end());
    return values[k] / 1000.0;
}

} // namespace

CLoadGenerator::CLoadGenerator()
    : m_fd(-1), m_nextTag(1), m_seq(0), m_bSpin(true), m_sentAt(RING, 0), m_slotTag(RING, 0),
      m_rx(static_cast<size_t>(MAX_WINDOW) * RX_SLOT),
      m_tx(static_cast<size_t>(MAX_WINDOW) * CBenchTraffic::MAX_DATAGRAM)
{
}

CLoadGenerator::~CLoadGenerator() = default;

int CLoadGenerator::open()
{
    std::string error;
    if (m_peer.bind(CUdpPeer::loopback(0), error) != 0) {
        return -1;
    }
    m_fd = m_peer.descriptor();
    // Receives wake up at least this often, so silences and deadlines are seen.
    timeval timeout = {0, 50000};
    setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    return 0;
}

int CLoadGenerator::sendBatch(EBenchPath path, uint16_t targetPort, int n, uint64_t now)
{
    mmsghdr msgs[MAX_WINDOW];
    iovec iov[MAX_WINDOW];
    sockaddr_in to = CUdpPeer::loopback(targetPort);
    for (int i = 0; i < n; ++i) {
        uint8_t* slot = m_tx.data() + static_cast<size_t>(i) * CBenchTraffic::MAX_DATAGRAM;
        const int len = CBenchTraffic::buildInput(path, m_nextTag + static_cast<uint32_t>(i), m_seq++, slot);
        iov[i].iov_base = slot;
        iov[i].iov_len = static_cast<size_t>(len);
        msgs[i] = {};
        msgs[i].msg_hdr.msg_name = &to;
        msgs[i].msg_hdr.msg_namelen = sizeof(to);
        msgs[i].msg_hdr.msg_iov = &iov[i];
        msgs[i].msg_hdr.msg_iovlen = 1;
    }
    int sent = sendmmsg(m_fd, msgs, static_cast<unsigned>(n), 0);
    if (sent < 0) {
        sent = 0;
    }
    for (int i = 0; i < sent; ++i) {
        const uint32_t tag = m_nextTag + static_cast<uint32_t>(i);
        m_sentAt[tag % RING] = now;
        m_slotTag[tag % RING] = tag + 1;
    }
    // Tags of datagrams that did not go out are skipped, never reused.
    m_nextTag += static_cast<uint32_t>(n);
    return sent;
}

TLoadResult CLoadGenerator::run(EBenchPath path, uint16_t targetPort, int window, uint64_t count, double seconds,
                                int silenceMs)
{
    TLoadResult result;
    window = std::max(1, std::min(window, MAX_WINDOW));
    std::fill(m_slotTag.begin(), m_slotTag.end(), 0);
    m_roundTrips.clear();
    m_roundTrips.reserve(count);

    mmsghdr msgs[MAX_WINDOW];
    iovec iov[MAX_WINDOW];
    for (int i = 0; i < MAX_WINDOW; ++i) {
        iov[i].iov_base = m_rx.data() + static_cast<size_t>(i) * RX_SLOT;
        iov[i].iov_len = RX_SLOT;
        msgs[i] = {};
        msgs[i].msg_hdr.msg_iov = &iov[i];
        msgs[i].msg_hdr.msg_iovlen = 1;
    }

    const uint64_t start = nowNs();
    const uint64_t deadline = start + static_cast<uint64_t>(seconds * 1e9);
    const uint64_t silence = static_cast<uint64_t>(silenceMs) * 1000000ull;
    uint64_t lastMatch = start;
    uint64_t lastActivity = start;
    int inFlight = 0;

    auto refill = [&](uint64_t now) {
        const uint64_t room = std::min<uint64_t>(static_cast<uint64_t>(window - inFlight), count - result.sent);
        if (room > 0) {
            const int sent = sendBatch(path, targetPort, static_cast<int>(room), now);
            inFlight += sent;
            result.sent += static_cast<uint64_t>(sent);
        }
    };

    refill(start);
    while (result.received + result.lost < count) {
        const int n =
            recvmmsg(m_fd, msgs, static_cast<unsigned>(window), m_bSpin ? MSG_DONTWAIT : MSG_WAITFORONE, nullptr);
        const uint64_t now = nowNs();
        if (now >= deadline) {
            break;
        }
        if (n <= 0) {
            if (now - lastActivity >= silence) {
                // Whatever is in flight is not coming back: count it lost and
                // keep the window full with new requests.
                result.lost += static_cast<uint64_t>(inFlight);
                std::fill(m_slotTag.begin(), m_slotTag.end(), 0);
                inFlight = 0;
                lastActivity = now;
                refill(now);
            }
            continue;
        }
        for (int i = 0; i < n; ++i) {
            uint32_t tag = 0;
            const uint8_t* data = static_cast<const uint8_t*>(iov[i].iov_base);
            if (!CBenchTraffic::readTag(data, static_cast<int>(msgs[i].msg_len), tag) ||
                m_slotTag[tag % RING] != tag + 1) {
                ++result.unexpected;
                continue;
            }
            m_slotTag[tag % RING] = 0;
            m_roundTrips.push_back(static_cast<uint32_t>(std::min<uint64_t>(now - m_sentAt[tag % RING], UINT32_MAX)));
            ++result.received;
            --inFlight;
            lastMatch = now;
        }
        lastActivity = now;
        refill(now);
    }

    result.seconds = static_cast<double>(lastMatch - start) / 1e9;
    result.rate = result.seconds > 0 ? static_cast<double>(result.received) / result.seconds : 0;
    result.p50Us = quantileUs(m_roundTrips, 0.50);
    result.p99Us = quantileUs(m_roundTrips, 0.99);
    result.complete = result.received == count;
    return result;
}

bool CLoadGenerator::probe(EBenchPath path, uint16_t targetPort, int timeoutMs)
{
    const uint64_t deadline = nowNs() + static_cast<uint64_t>(timeoutMs) * 1000000ull;
    while (nowNs() < deadline) {
        if (run(path, targetPort, 1, 1, 0.2, 100).received == 1) {
            drain(20);
            return true;
        }
    }
    return false;
}

void CLoadGenerator::drain(int quietMs)
{
    pollfd pfd = {m_fd, POLLIN, 0};
    // Bounded: at most a few seconds of stragglers.
    for (int i = 0; i < 100000 && poll(&pfd, 1, quietMs) > 0; ++i) {
        uint8_t buf[RX_SLOT];
        if (recv(m_fd, buf, sizeof(buf), 0) < 0) {
            break;
        }
    }
}
