// The thread wrappers: the generator that runs a member function on a named
// thread, and the thread base class whose wait() ends on a stop request.
#include <pthread.h>

#include "common/core/KsThread.h"
#include "common/core/ThreadGenerator.h"
#include "UnitTest.h"

namespace {

// Work run by a generator: holds until released, then records what its
// thread sees and optionally stops its own generator.
class CWorker {
public:
    void work()
    {
        eventually([this] { return m_bGo.load(); });
        char name[16] = {};
        pthread_getname_np(pthread_self(), name, sizeof(name));
        m_strName = name;
        if (m_pStopSelf != nullptr) {
            m_pStopSelf->stop();
        }
        m_bFlagAfterStop = CThreadGenerator::isThreadNeedContinue();
        m_bDone = true;
    }

    bool finished()
    {
        return eventually([this] { return m_bDone.load(); });
    }

    std::atomic<bool> m_bGo{false};
    std::atomic<bool> m_bDone{false};
    CThreadGenerator* m_pStopSelf = nullptr;
    std::string m_strName;
    bool m_bFlagAfterStop = false;
};

enum EStop { NOT_STOPPED, STOPPED_FROM_OUTSIDE, STOPPED_ON_ITS_THREAD };

TEST(ThreadGenerator, RunsOnANamedThreadAndStopClearsTheCallingThreadsFlag)
{
    const struct {
        const char* m_pszName;
        EStop m_eStop;
        const char* m_pszSeenName;
        bool m_bFlagAfter;
    } rows[] = {
        {"abcdefghijklmnopqrst", NOT_STOPPED, "abcdefghijklmno", true},
        {"", NOT_STOPPED, "gen-parent", true}, // the inherited name
        {"stopping", STOPPED_FROM_OUTSIDE, "stopping", true},
        {"stopping", STOPPED_ON_ITS_THREAD, "stopping", false},
    };
    pthread_setname_np(pthread_self(), "gen-parent");
    // A thread writes its status last: its generator lives for the process,
    // as does a worker whose end is not waited for.
    static std::list<CThreadGenerator> s_generators;
    static std::list<CWorker> s_workers;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.m_pszName + std::to_string(row.m_eStop));
        CThreadGenerator& generator = s_generators.emplace_back(row.m_pszName);
        CWorker worker;
        worker.m_pStopSelf = row.m_eStop == STOPPED_ON_ITS_THREAD ? &generator : nullptr;
        EXPECT_EQ(generator.getStatus(), E_THREAD_STATUS_CREATED);
        ASSERT_EQ(generator.start(&worker, &CWorker::work), 0);
        ASSERT_TRUE(eventually([&] { return generator.isRunning(); }));
        // A busy generator starts nothing more.
        EXPECT_EQ(generator.start(&worker, &CWorker::work), -1);
        if (row.m_eStop == STOPPED_FROM_OUTSIDE) {
            EXPECT_EQ(generator.stop(true), 0);
            EXPECT_EQ(generator.getStatus(), E_THREAD_STATUS_STOP_REQUESTED);
            // The main thread has no flag of its own.
            EXPECT_FALSE(CThreadGenerator::isThreadNeedContinue());
        }
        worker.m_bGo = true;
        ASSERT_TRUE(worker.finished());
        EXPECT_EQ(worker.m_strName, row.m_pszSeenName);
        EXPECT_EQ(worker.m_bFlagAfterStop, row.m_bFlagAfter);
        EXPECT_TRUE(eventually([&] { return generator.getStatus() == E_THREAD_STATUS_FINISHED; }));
        if (row.m_eStop != NOT_STOPPED) {
            // A stopped generator has let its thread go and starts again.
            CWorker& again = s_workers.emplace_back();
            again.m_bGo = true;
            EXPECT_EQ(generator.start(&again, &CWorker::work), 0);
            EXPECT_TRUE(again.finished());
            EXPECT_TRUE(eventually([&] { return generator.getStatus() == E_THREAD_STATUS_FINISHED; }));
        }
    }
}

// Holds in run() until released, or returns at once when told to.
class CGatedThread : public CKsThread {
public:
    explicit CGatedThread(bool returnAtOnce) : CKsThread("gated"), m_bReturnAtOnce(returnAtOnce) {}

    void run() override
    {
        eventually([this] { return m_bReturnAtOnce || m_bGo.load(); });
    }

    bool m_bReturnAtOnce;
    std::atomic<bool> m_bGo{false};
};

TEST(KsThread, WaitReturnsOnTheStopRequestWhetherRunIsBusyOrFinished)
{
    for (bool returnAtOnce : {false, true}) {
        SCOPED_TRACE(returnAtOnce ? "run finished" : "run busy");
        auto thread = std::make_shared<CGatedThread>(returnAtOnce);
        ASSERT_EQ(thread->start(), 0);
        ASSERT_TRUE(eventually([&] { return thread->getStatus() == (returnAtOnce ? 3 : 1); }));

        // wait() on a detached thread; the flag tells when it returned.
        auto returned = std::make_shared<std::atomic<bool>>(false);
        std::thread([thread, returned] {
            thread->wait();
            *returned = true;
        }).detach();
        sleepMs(60);
        EXPECT_FALSE(*returned);

        EXPECT_EQ(thread->stop(false), 0);
        EXPECT_FALSE(thread->isThreadNeedContinue());
        EXPECT_TRUE(eventually([&] { return returned->load(); }));
        if (!returnAtOnce) {
            EXPECT_EQ(thread->getStatus(), E_THREAD_STATUS_STOP_REQUESTED);
            thread->m_bGo = true;
            EXPECT_TRUE(eventually([&] { return thread->getStatus() == E_THREAD_STATUS_FINISHED; }));
        }
    }
}

} // namespace
