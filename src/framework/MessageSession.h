#ifndef LUMBRIX_MESSAGE_SESSION_H
#define LUMBRIX_MESSAGE_SESSION_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include "common/core/KsSingleton.h"

// Session-number singleton kept beside the global status. It owns one
// atomic session counter and a (so far unused) table of per-session message
// contexts. The recursive mutex guards only creation and destruction of the
// instance; the counter is atomic.
class CMessageSession : public CKsSingleton<CMessageSession, std::recursive_mutex> {
    friend class CKsSingleton<CMessageSession, std::recursive_mutex>;

public:
    int init();
    int release();

    // Advances the session number. The reset is decided on the value before
    // the increment: after 2147483647 the number reads -2147483648 once, and
    // only the following call brings it back to 0.
    int addSessionID();
    int getSessionID();

private:
    friend class CMessageSessionTestAccess;

    CMessageSession();
    ~CMessageSession() = default;
    CMessageSession(const CMessageSession&) = delete;
    CMessageSession& operator=(const CMessageSession&) = delete;

    std::atomic<int32_t> m_aiSessionID;
    std::map<int32_t, std::map<int32_t, std::shared_ptr<CMessageSession>>> m_mapSessionMsgContext;
};

#endif
