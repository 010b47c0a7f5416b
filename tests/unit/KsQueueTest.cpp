// The bounded blocking queue: capacity, the single wait on each side, and
// release by popNotice.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <thread>

#include "KsQueue.h"
#include "TestLog.h"

namespace {

using Queue = CKsQueue<int>;

// Runs one queue operation on its own thread. Whatever happens, the thread
// is joined within a deadline: release keeps waking the queue with
// popNotice (each side waits only once) until the operation returns.
class Worker {
public:
    Worker(Queue& queue, std::function<void()> op) : m_queue(queue), m_done(std::async(std::launch::async, op)) {}
    ~Worker() { release(); }

    bool finishedWithin(int ms) { return m_done.wait_for(std::chrono::milliseconds(ms)) == std::future_status::ready; }

    void release()
    {
        for (int tries = 0; !finishedWithin(1); ++tries) {
            if (tries > 5000) {
                std::fprintf(stderr, "queue operation still blocked after popNotice\n");
                std::abort();
            }
            m_queue.popNotice();
        }
    }

private:
    Queue& m_queue;
    std::future<void> m_done;
};

class KsQueueTest : public testing::Test {
protected:
    void SetUp() override { useTestLog(m_dir); }

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
    std::string out = captureStdout([&] {
        Worker push128(queue, [&] { queue.push(128); });
        EXPECT_TRUE(push128.finishedWithin(2000));
    });
    EXPECT_EQ(std::string::npos, out.find("Queue::push before wait"));
    EXPECT_EQ(128u, queue.size());

    out = captureStdout([&] {
        Worker push129(queue, [&] { queue.push(129); });
        EXPECT_FALSE(push129.finishedWithin(100));
        EXPECT_EQ(128u, queue.size());
        push129.release();
    });
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
    int value = 0;
    captureStdout([&] {
        Worker producer(queue, [&] { queue.push(999); });
        EXPECT_FALSE(producer.finishedWithin(50));
        queue.pop(value);
        EXPECT_TRUE(producer.finishedWithin(2000));
    });
    EXPECT_EQ(1, value);
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

TEST_F(KsQueueTest, WaitingConsumerTakesTheFirstPushAndDuplicatesComeOutInOrder)
{
    Queue queue;
    int value = -1;
    {
        Worker consumer(queue, [&] { queue.pop(value); });
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        for (int v : {3, 1, 3}) {
            queue.push(v);
        }
        EXPECT_TRUE(consumer.finishedWithin(2000));
    }
    EXPECT_EQ(3, value);
    for (int expected : {1, 3}) {
        queue.pop(value);
        EXPECT_EQ(expected, value);
    }
    EXPECT_EQ(0u, queue.size());
}

} // namespace
