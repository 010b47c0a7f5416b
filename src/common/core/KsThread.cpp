#include "common/core/KsThread.h"

#include <chrono>

#include "common/util/KsSignal.h"

bool CKsThread::ms_bNeedRunning = true;

void CKsThread::CThreadFunc::operator()()
{
    if (m_pThread == nullptr) {
        return;
    }
    m_pThread->setStatus(E_THREAD_STATUS_RUNNING);
    m_pThread->run();
    m_pThread->setStatus(E_THREAD_STATUS_FINISHED);
}

CKsThread::CKsThread(const std::string& name) : m_strThreadName(name), m_iThreadStatus(E_THREAD_STATUS_CREATED) {}

int CKsThread::start()
{
    CKsSignal::CNewThreadMask mask;
    m_spThread = std::make_shared<std::thread>(CThreadFunc(this));
    m_spThread->detach();
    return 0;
}

int CKsThread::stop(bool)
{
    m_iThreadStatus = E_THREAD_STATUS_STOP_REQUESTED;
    return 0;
}

int CKsThread::wait()
{
    while (m_iThreadStatus != E_THREAD_STATUS_STOP_REQUESTED) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return 0;
}

bool CKsThread::isThreadNeedContinue() const
{
    const int status = m_iThreadStatus;
    return status != E_THREAD_STATUS_STOP_REQUESTED && status != E_THREAD_STATUS_FINISHED;
}
