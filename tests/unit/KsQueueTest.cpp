// The bounded blocking queue: 128 values without waiting; a producer on a
// full queue or a consumer on an empty one waits once, until a pop, a push
// or popNotice releases it.
#include <cstdio>
#include <cstdlib>

#include "common/core/KsQueue.h"
#include "UnitTest.h"

namespace {

using Queue = CKsQueue<int>;

// Runs one queue operation on its own thread. Whatever happens, the thread
// is joined within a deadline: on leaving, popNotice keeps waking the queue
// (each side waits only once) until the operation returns.
class Worker {
public:
    Worker(Queue& queue, std::function<void()> op) : m_queue(queue), m_done(std::async(std::launch::async, op)) {}
    ~Worker()
    {
        for (int tries = 0; !done(1); ++tries) {
            if (tries > 5000) {
                std::fprintf(stderr, "queue operation still blocked after popNotice\n");
                std::abort();
            }
            m_queue.popNotice();
        }
    }

    bool done(int ms) { return m_done.wait_for(std::chrono::milliseconds(ms)) == std::future_status::ready; }

private:
    Queue& m_queue;
    std::future<void> m_done;
};

TEST(KsQueue, EachSideWaitsOnceUntilReleased)
{
    CTempDir dir;
    useTestLog(dir);
    Queue queue;
    for (int i = 1; i <= 127; ++i) {
        queue.push(i);
    }
    const std::string out = captureStdout([&] {
        EXPECT_TRUE(Worker(queue, [&] { queue.push(128); }).done(2000));
        // Released by a notice, the producer appends although the queue is full.
        Worker producer(queue, [&] { queue.push(129); });
        EXPECT_FALSE(producer.done(100));
        EXPECT_EQ(128u, queue.size());
    });
    EXPECT_THAT(out, HasSubstr("[Debug] KsQueue.h:"));
    EXPECT_EQ(1u, countOf(out, "Queue::push before wait"));
    EXPECT_EQ(129u, queue.size());

    // Released by a pop, the producer appends behind the rest.
    int value = 0;
    captureStdout([&] {
        Worker producer(queue, [&] { queue.push(130); });
        EXPECT_FALSE(producer.done(50));
        queue.pop(value);
        EXPECT_TRUE(producer.done(2000));
    });
    EXPECT_EQ(1, value);
    for (int expected = 2; expected <= 130; ++expected) {
        queue.pop(value);
        ASSERT_EQ(expected, value);
    }

    // A consumer released without data leaves its output alone; one
    // released by a push takes the first value.
    value = -77;
    EXPECT_FALSE(Worker(queue, [&] { queue.pop(value); }).done(50));
    EXPECT_EQ(-77, value);
    {
        Worker consumer(queue, [&] { queue.pop(value); });
        sleepMs(20);
        queue.push(3);
        queue.push(1);
        EXPECT_TRUE(consumer.done(2000));
    }
    EXPECT_EQ(3, value);
    queue.pop(value);
    EXPECT_EQ(1, value);
    EXPECT_EQ(0u, queue.size());
}

} // namespace
