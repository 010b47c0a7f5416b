#include "common/core/ThreadGenerator.h"

#include <pthread.h>

namespace {
// Keep-running flag of the calling thread; null on threads that were not
// started by a generator.
thread_local std::shared_ptr<bool> tl_spRunningFlag;

// Longest thread name the system accepts, without the terminating zero.
const size_t kMaxThreadNameLen = 15;
} // namespace

CThreadGenerator::CThreadGenerator() : m_iThreadStatus(E_THREAD_STATUS_CREATED) {}

CThreadGenerator::CThreadGenerator(const std::string& name)
    : m_strThreadName(name), m_iThreadStatus(E_THREAD_STATUS_CREATED)
{
}

int CThreadGenerator::stop(bool)
{
    m_iThreadStatus = E_THREAD_STATUS_STOP_REQUESTED;
    if (tl_spRunningFlag) {
        *tl_spRunningFlag = false;
    }
    m_spThread.reset();
    return 0;
}

void CThreadGenerator::setThreadRunningFlag()
{
    tl_spRunningFlag = std::make_shared<bool>(true);
}

bool CThreadGenerator::isThreadNeedContinue()
{
    return tl_spRunningFlag ? *tl_spRunningFlag : false;
}

void CThreadGenerator::setSystemName(std::thread& thread) const
{
    if (m_strThreadName.empty()) {
        return;
    }
    const std::string name = m_strThreadName.substr(0, kMaxThreadNameLen);
    pthread_setname_np(thread.native_handle(), name.c_str());
}
