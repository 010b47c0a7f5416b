// The session counter kept beside the pending-request memory. How answers
// take their requests' sequences (first in first out per kind, the stored
// -1, answers with nothing pending) is checked end to end.
#include <gtest/gtest.h>

#include <climits>

#include "MessageSession.h"

// Reaches the session counter to start it near its limit.
class CMessageSessionTestAccess {
public:
    static void set(int32_t value) { CMessageSession::getInstance()->m_aiSessionID = value; }
};

namespace {

TEST(MessageSessionTest, CounterWrapsToMinimumOnceThenRestartsAtZero)
{
    CMessageSession* session = CMessageSession::getInstance();
    ASSERT_EQ(0, session->init());
    EXPECT_EQ(0, session->getSessionID());
    CMessageSessionTestAccess::set(INT32_MAX);
    for (int32_t expected : {INT32_MIN, 0, 1}) {
        session->addSessionID();
        EXPECT_EQ(expected, session->getSessionID());
    }
    CMessageSession::destroy();
    EXPECT_EQ(0, CMessageSession::getInstance()->getSessionID());
    CMessageSession::destroy();
}

} // namespace
