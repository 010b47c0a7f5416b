#include "MessageSession.h"

std::recursive_mutex CMessageSession::ms_mutexInstance;
CMessageSession* CMessageSession::ms_pInstance = nullptr;

CMessageSession::CMessageSession() : m_aiSessionID(0) {}

CMessageSession* CMessageSession::getInstance()
{
    if (ms_pInstance == nullptr) {
        std::lock_guard<std::recursive_mutex> lock(ms_mutexInstance);
        if (ms_pInstance == nullptr) {
            ms_pInstance = new CMessageSession();
        }
    }
    return ms_pInstance;
}

void CMessageSession::destroy()
{
    if (ms_pInstance == nullptr) {
        return;
    }
    std::lock_guard<std::recursive_mutex> lock(ms_mutexInstance);
    delete ms_pInstance;
    ms_pInstance = nullptr;
}

int CMessageSession::init()
{
    m_aiSessionID = 0;
    return 0;
}

int CMessageSession::release()
{
    return 0;
}

int CMessageSession::addSessionID()
{
    // fetch_add wraps on overflow for atomics.
    if (m_aiSessionID.fetch_add(1) < 0) {
        m_aiSessionID = 0;
    }
    return 0;
}

int CMessageSession::getSessionID()
{
    return m_aiSessionID.load();
}
