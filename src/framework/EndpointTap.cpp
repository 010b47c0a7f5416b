#include "framework/EndpointTap.h"

#include <linux/sock_diag.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

namespace {

// The drop count of the UDP socket with inode inode in /proc/net/udp (its
// last column), for kernels or emulators without SO_MEMINFO; -1 when the
// socket is not there.
int64_t procDrops(ino_t inode)
{
    std::ifstream in("/proc/net/udp");
    std::string line;
    std::getline(in, line); // the column names
    while (std::getline(in, line)) {
        std::istringstream fields(line);
        std::string field;
        unsigned long long value = 0;
        for (int i = 0; i < 10 && fields >> field; ++i) {
        }
        if (field == std::to_string(inode)) {
            while (fields >> value) {
            }
            return static_cast<int64_t>(value);
        }
    }
    return -1;
}

} // namespace

CEndpointTap::CEndpointTap(EKind kind, const std::string& name, const sockaddr_in& address, int fd, CRecordRing* ring)
    : m_eKind(kind), m_strName(name), m_address(address), m_fd(fd), m_pRing(ring)
{
}

void CEndpointTap::addCounter(const char* name, const std::atomic<uint64_t>& counter)
{
    const int n = m_iShown.load(std::memory_order_relaxed);
    if (n < MAX_SHOWN) {
        m_astShown[n] = {name, &counter};
        m_iShown.store(n + 1, std::memory_order_release);
    }
}

std::string CEndpointTap::counterLine() const
{
    std::ostringstream line;
    const char* way = m_eKind == E_KIND_SERVICE ? "In" : "Out";
    line << m_strName << ": datagrams" << way << "=" << m_ullDatagrams.load(std::memory_order_relaxed) << " bytes"
         << way << "=" << m_ullBytes.load(std::memory_order_relaxed);
    const int shown = m_iShown.load(std::memory_order_acquire);
    for (int i = 0; i < shown; ++i) {
        line << " " << m_astShown[i].name << "=" << m_astShown[i].counter->load(std::memory_order_relaxed);
    }
    if (m_eKind == E_KIND_SERVICE) {
        const int64_t drops = kernelDrops();
        line << " kernelDrops=";
        if (drops < 0) {
            line << "-";
        } else {
            line << drops;
        }
    } else {
        line << " sendFailed=" << m_ullFailed.load(std::memory_order_relaxed);
    }
    return line.str();
}

int64_t CEndpointTap::kernelDrops() const
{
    uint32_t meminfo[SK_MEMINFO_VARS] = {};
    socklen_t len = sizeof(meminfo);
    const int fd = m_fd.load(std::memory_order_relaxed);
    if (getsockopt(fd, SOL_SOCKET, SO_MEMINFO, meminfo, &len) == 0 && len > SK_MEMINFO_DROPS * sizeof(uint32_t)) {
        return meminfo[SK_MEMINFO_DROPS];
    }
    struct stat st;
    return fstat(fd, &st) == 0 ? procDrops(st.st_ino) : -1;
}

const sockaddr_in& CEndpointTap::sourceAddress()
{
    if (!m_bSourceKnown) {
        socklen_t len = sizeof(m_source);
        getsockname(m_fd.load(std::memory_order_relaxed), reinterpret_cast<sockaddr*>(&m_source), &len);
        m_bSourceKnown = true;
    }
    return m_source;
}
