#include "framework/MessageSession.h"

CMessageSession::CMessageSession() : m_aiSessionID(0) {}

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
