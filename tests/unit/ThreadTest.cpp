#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "KsLog.h"
#include "KsThread.h"
#include "ThreadGenerator.h"

namespace {

const auto kDeadline = std::chrono::seconds(5);

// Polls cond every millisecond until it holds or the deadline passes.
bool eventually(const std::function<bool()>& cond)
{
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (!cond()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// Work run by a generator: holds until released, then records what its
// thread sees and optionally stops its own generator.
class CWorker {
public:
    void work()
    {
        m_futureGo.wait_for(kDeadline);
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof(name));
        m_strName = name;
        if (m_pStopSelf != nullptr) {
            m_pStopSelf->stop();
        }
        m_bFlagAfterStop = CThreadGenerator::isThreadNeedContinue();
        m_promiseDone.set_value();
    }

    void release() { m_promiseGo.set_value(); }
    bool finished() { return m_futureDone.wait_for(kDeadline) == std::future_status::ready; }

    CThreadGenerator* m_pStopSelf = nullptr;
    std::string m_strName;
    bool m_bFlagAfterStop = false;

private:
    std::promise<void> m_promiseGo;
    std::shared_future<void> m_futureGo = m_promiseGo.get_future().share();
    std::promise<void> m_promiseDone;
    std::future<void> m_futureDone = m_promiseDone.get_future();
};

TEST(ThreadGenerator, NamesItsThreadWithTheFirst15CharactersAndWalksTheStatuses)
{
    CKsLog::setLogLevel(-1);
    CThreadGenerator generator("abcdefghijklmnopqrst");
    CWorker worker;
    EXPECT_EQ(generator.getStatus(), 0);
    ASSERT_EQ(generator.start(&worker, &CWorker::work), 0);
    ASSERT_TRUE(eventually([&] { return generator.getStatus() == 1; }));
    // A busy generator starts nothing more.
    EXPECT_EQ(generator.start(&worker, &CWorker::work), -1);

    worker.release();
    ASSERT_TRUE(worker.finished());
    EXPECT_EQ(worker.m_strName, "abcdefghijklmno");
    EXPECT_TRUE(eventually([&] { return generator.getStatus() == 3; }));
    EXPECT_FALSE(generator.isRunning());
}

TEST(ThreadGenerator, EmptyNameLeavesTheInheritedName)
{
    pthread_setname_np(pthread_self(), "gen-parent");
    CThreadGenerator generator;
    CWorker worker;
    ASSERT_EQ(generator.start(&worker, &CWorker::work), 0);
    worker.release();
    ASSERT_TRUE(worker.finished());
    EXPECT_EQ(worker.m_strName, "gen-parent");
    // The thread writes the status last: the generator must outlive that.
    EXPECT_TRUE(eventually([&] { return generator.getStatus() == 3; }));
}

TEST(ThreadGenerator, StopClearsTheFlagOfTheCallingThreadOnlyAndAllowsARestart)
{
    // One generator for both runs: the second start shows that the first
    // thread object was dropped.
    CThreadGenerator generator("stopping");
    for (bool fromItsOwnThread : {false, true}) {
        SCOPED_TRACE(fromItsOwnThread ? "stopped on its own thread" : "stopped from outside");
        CWorker worker;
        worker.m_pStopSelf = fromItsOwnThread ? &generator : nullptr;
        ASSERT_EQ(generator.start(&worker, &CWorker::work), 0);
        ASSERT_TRUE(eventually([&] { return generator.isRunning(); }));
        if (!fromItsOwnThread) {
            EXPECT_EQ(generator.stop(true), 0);
            EXPECT_EQ(generator.getStatus(), 2);
            // The main thread has no flag of its own.
            EXPECT_FALSE(CThreadGenerator::isThreadNeedContinue());
        }
        worker.release();
        ASSERT_TRUE(worker.finished());
        EXPECT_EQ(worker.m_bFlagAfterStop, !fromItsOwnThread);
        EXPECT_TRUE(eventually([&] { return generator.getStatus() == 3; }));
    }
}

// Holds in run() until released, or returns at once when told to.
class CGatedThread : public CKsThread {
public:
    explicit CGatedThread(bool returnAtOnce) : CKsThread("gated"), m_bReturnAtOnce(returnAtOnce) {}

    void run() override
    {
        if (!m_bReturnAtOnce) {
            m_futureGo.wait_for(kDeadline);
        }
    }

    void release() { m_promiseGo.set_value(); }

private:
    bool m_bReturnAtOnce;
    std::promise<void> m_promiseGo;
    std::shared_future<void> m_futureGo = m_promiseGo.get_future().share();
};

// Calls wait() on a detached thread; the flag tells when it returned.
std::shared_ptr<std::atomic<bool>> waitInBackground(std::shared_ptr<CKsThread> thread)
{
    auto returned = std::make_shared<std::atomic<bool>>(false);
    std::thread([thread, returned] {
        thread->wait();
        *returned = true;
    }).detach();
    return returned;
}

TEST(KsThread, WaitReturnsOnTheStopRequestNotOnTheEndOfRun)
{
    auto thread = std::make_shared<CGatedThread>(false);
    ASSERT_EQ(thread->start(), 0);
    ASSERT_TRUE(eventually([&] { return thread->isRunning(); }));

    auto returned = waitInBackground(thread);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(*returned);

    EXPECT_EQ(thread->stop(false), 0);
    EXPECT_FALSE(thread->isThreadNeedContinue());
    EXPECT_TRUE(eventually([&] { return returned->load(); }));
    // wait() returned while run() was still busy.
    EXPECT_EQ(thread->getStatus(), 2);

    thread->release();
    EXPECT_TRUE(eventually([&] { return thread->getStatus() == 3; }));
}

TEST(KsThread, WaitOnAFinishedThreadHoldsUntilAStopRequest)
{
    auto thread = std::make_shared<CGatedThread>(true);
    ASSERT_EQ(thread->start(), 0);
    ASSERT_TRUE(eventually([&] { return thread->getStatus() == 3; }));

    auto returned = waitInBackground(thread);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(*returned);
    // Only a stop request lets it go.
    thread->stop();
    EXPECT_TRUE(eventually([&] { return returned->load(); }));
}

}
