// Pending-request memory shared by request and answer handlers, and the
// session counter kept beside it.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <thread>

#include "GlobalStatus.h"
#include "MessageSession.h"

// Reaches the session counter to start it near its limit.
class CMessageSessionTestAccess {
public:
    static void set(int32_t value) { CMessageSession::getInstance()->m_aiSessionID = value; }
};

namespace {

// App MessageType values used as keys (each test uses its own).
constexpr uint32_t kNestCabinControl = 0xC0001;
constexpr uint32_t kNestXrodControl = 0xC0002;
constexpr uint32_t kRcSystemTime = 0x9000A;

TEST(GlobalStatusTest, NothingIsRememberedBeforeTheFirstRequest)
{
    for (int32_t value :
         {CGlobalStatus::ms_iCurRcCalibrationCmd, CGlobalStatus::ms_iCurStartMatchingMsgSequence,
          CGlobalStatus::ms_iCurSetModeMsgSequence, CGlobalStatus::ms_iCurGetModeMsgSequence,
          CGlobalStatus::ms_iCurEnterCalibrationMsgSequence, CGlobalStatus::ms_iCurExitCalibrationMsgSequence,
          CGlobalStatus::ms_iCurSetGimbalSpeedSequence, CGlobalStatus::ms_iCurGetGimbalSpeedSequence,
          CGlobalStatus::ms_iDeviceInfoQuerySequence}) {
        EXPECT_EQ(-1, value);
    }
    EXPECT_EQ(CGlobalStatus::E_RC_CMD_CALIBRATION_UNKNOWN, CGlobalStatus::ms_iCurRcCalibrationCmd);
}

TEST(GlobalStatusTest, QueuedSequencesAnswerRequestsOfOneTypeFirstInFirstOut)
{
    CGlobalStatus::pushSequence(kNestCabinControl, 5);
    CGlobalStatus::pushSequence(kNestXrodControl, 70);
    CGlobalStatus::pushSequence(kNestCabinControl, 6);

    int sequence = 0;
    ASSERT_TRUE(CGlobalStatus::popSequence(kNestCabinControl, sequence));
    EXPECT_EQ(5, sequence);
    ASSERT_TRUE(CGlobalStatus::popSequence(kNestCabinControl, sequence));
    EXPECT_EQ(6, sequence);

    // Nothing pending: the caller's default stays.
    sequence = 0;
    EXPECT_FALSE(CGlobalStatus::popSequence(kNestCabinControl, sequence));
    EXPECT_EQ(0, sequence);

    // Other types keep their own entries.
    ASSERT_TRUE(CGlobalStatus::popSequence(kNestXrodControl, sequence));
    EXPECT_EQ(70, sequence);
}

TEST(GlobalStatusTest, AnswerWithoutAnyRequestCreatesTheEntryAndDoesNotWait)
{
    ASSERT_EQ(0u, CGlobalStatus::ms_mapMessageIDtoSequence.count(kRcSystemTime));

    std::atomic<bool> done{false};
    bool popped = true;
    int sequence = 0;
    std::thread answer([&] {
        popped = CGlobalStatus::popSequence(kRcSystemTime, sequence);
        done = true;
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (!done && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    const bool returnedAtOnce = done;
    while (!done) {
        // Release a wrongly blocking pop so that the thread can be joined.
        CGlobalStatus::ms_mapMessageIDtoSequence[kRcSystemTime].popNotice();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    answer.join();

    EXPECT_TRUE(returnedAtOnce);
    EXPECT_FALSE(popped);
    EXPECT_EQ(0, sequence);
    EXPECT_EQ(1u, CGlobalStatus::ms_mapMessageIDtoSequence.count(kRcSystemTime));
}

TEST(MessageSessionTest, CounterWrapsToMinimumOnceThenRestartsAtZero)
{
    CMessageSession* session = CMessageSession::getInstance();
    ASSERT_EQ(0, session->init());
    EXPECT_EQ(0, session->getSessionID());
    session->addSessionID();
    EXPECT_EQ(1, session->getSessionID());

    CMessageSessionTestAccess::set(INT32_MAX);
    session->addSessionID();
    EXPECT_EQ(INT32_MIN, session->getSessionID());
    session->addSessionID();
    EXPECT_EQ(0, session->getSessionID());
    session->addSessionID();
    EXPECT_EQ(1, session->getSessionID());

    CMessageSession::destroy();
    EXPECT_EQ(0, CMessageSession::getInstance()->getSessionID());
    CMessageSession::destroy();
}

} // namespace
