// The bounded blocking queue: capacity, the single wait on each side, and
// release by popNotice.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>

#include "KsLog.h"
#include "KsQueue.h"
#include "TempDir.h"

namespace {

using Queue = CKsQueue<int>;

// Runs one queue operation on its own thread. Whatever happens, the thread
// is joined within a deadline: the destructor keeps releasing the queue
// with popNotice (each side waits only once) until the operation returns.
class Worker {
public:
    Worker(Queue& queue, std::function<void()> op)
        : m_queue(queue), m_thread([this, op] {
              op();
              m_done = true;
          })
    {
    }

    ~Worker() { release(); }

    bool finishedWithin(int ms)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        while (!m_done && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return m_done;
    }

    void release()
    {
        if (!m_thread.joinable()) {
            return;
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!m_done) {
            if (std::chrono::steady_clock::now() > deadline) {
                std::fprintf(stderr, "queue operation still blocked after popNotice\n");
                std::abort();
            }
            m_queue.popNotice();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        m_thread.join();
    }

private:
    Queue& m_queue;
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

class KsQueueTest : public testing::Test {
protected:
    void SetUp() override
    {
        CKsLog::CLogConfig log;
        log.m_strLogFilePath = m_dir.file("test.log");
        log.m_iLogLevel = E_LOG_LEVEL_DEBUG;
        CKsLog::getInstance()->addLogConfig(&log);
        testing::internal::CaptureStdout();
        CKsLog::getInstance()->reInit();
        testing::internal::GetCapturedStdout();
    }

    static void fill(Queue& queue, int count)
    {
        for (int i = 1; i <= count; ++i) {
            queue.push(i);
        }
    }

    TempDir m_dir;
};

TEST_F(KsQueueTest, HoldsCapacityWithoutWaitingThenWaitsOnceAndOverfillsWhenReleased)
{
    Queue queue;
    fill(queue, 127);

    testing::internal::CaptureStdout();
    {
        Worker push128(queue, [&] { queue.push(128); });
        EXPECT_TRUE(push128.finishedWithin(2000));
    }
    EXPECT_EQ(std::string::npos, testing::internal::GetCapturedStdout().find("Queue::push before wait"));
    EXPECT_EQ(128u, queue.size());

    testing::internal::CaptureStdout();
    {
        Worker push129(queue, [&] { queue.push(129); });
        EXPECT_FALSE(push129.finishedWithin(100));
        EXPECT_EQ(128u, queue.size());
        push129.release();
    }
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(std::string::npos, out.find("[Debug] KsQueue.h:")) << out;
    EXPECT_NE(std::string::npos, out.find("Queue::push before wait")) << out;
    // The released producer appended although the queue was still full.
    EXPECT_EQ(129u, queue.size());

    int value = 0;
    for (int expected = 1; expected <= 129; ++expected) {
        queue.pop(value);
        ASSERT_EQ(expected, value);
    }
}

TEST_F(KsQueueTest, WaitingProducerIsReleasedByPopAndAppendsBehindTheRest)
{
    Queue queue;
    fill(queue, 128);
    testing::internal::CaptureStdout();
    Worker producer(queue, [&] { queue.push(999); });
    EXPECT_FALSE(producer.finishedWithin(50));

    int value = 0;
    queue.pop(value);
    EXPECT_EQ(1, value);
    EXPECT_TRUE(producer.finishedWithin(2000));
    producer.release();
    testing::internal::GetCapturedStdout();

    ASSERT_EQ(128u, queue.size());
    for (int expected = 2; expected <= 128; ++expected) {
        queue.pop(value);
    }
    queue.pop(value);
    EXPECT_EQ(999, value);
}

TEST_F(KsQueueTest, ConsumerReleasedByPopNoticeLeavesItsOutputUntouched)
{
    Queue queue;
    int value = -77;
    Worker consumer(queue, [&] { queue.pop(value); });
    EXPECT_FALSE(consumer.finishedWithin(50));
    consumer.release();
    EXPECT_EQ(-77, value);
    EXPECT_EQ(0u, queue.size());
}

TEST_F(KsQueueTest, WaitingConsumerTakesTheValuePushedByAnotherThread)
{
    Queue queue;
    int value = -1;
    Worker consumer(queue, [&] { queue.pop(value); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    queue.push(42);
    EXPECT_TRUE(consumer.finishedWithin(2000));
    consumer.release();
    EXPECT_EQ(42, value);
    EXPECT_EQ(0u, queue.size());
}

TEST_F(KsQueueTest, ValuesComeOutInPushOrderDuplicatesIncluded)
{
    Queue queue;
    for (int v : {3, 1, 3, 2}) {
        queue.push(v);
    }
    int value = 0;
    for (int expected : {3, 1, 3, 2}) {
        queue.pop(value);
        EXPECT_EQ(expected, value);
    }
    EXPECT_EQ(0u, queue.size());
}

} // namespace
