#ifndef LUMBRIX_KS_QUEUE_H
#define LUMBRIX_KS_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <queue>

#include "common/core/KsLog.h"

// Bounded FIFO guarded by one lock. A producer waits while the queue is
// full, a consumer while it is empty, and popNotice() releases both without
// data. Each side waits exactly once: a released producer appends even when
// the queue is still full, and a released consumer that still finds nothing
// returns without touching its output. The queue owns its values; it is
// built in place (for example as a map's mapped value) and never copied.
template <typename T, typename Container = std::queue<T>>
class CKsQueue {
public:
    CKsQueue() : m_capacity(128) {}

    ~CKsQueue()
    {
        clear();
        popNotice();
        clear();
    }

    CKsQueue(const CKsQueue&) = delete;
    CKsQueue& operator=(const CKsQueue&) = delete;

    void push(const T& value)
    {
        std::unique_lock<std::mutex> lock(m_store_lock);
        if (m_store.size() >= m_capacity) {
            KS_LOG_DEBUG("Queue::push before wait");
            m_cond_full.wait(lock);
        }
        m_store.push(value);
        m_cond_empty.notify_one();
    }

    // value is left as it was when the wait ends without data.
    void pop(T& value)
    {
        std::unique_lock<std::mutex> lock(m_store_lock);
        if (m_store.empty()) {
            m_cond_empty.wait(lock);
            if (m_store.empty()) {
                return;
            }
        }
        value = m_store.front();
        m_store.pop();
        m_cond_full.notify_one();
    }

    void popNotice()
    {
        std::lock_guard<std::mutex> lock(m_store_lock);
        m_cond_empty.notify_all();
        m_cond_full.notify_all();
    }

    // Read without the lock: only meaningful where one thread owns every
    // push and pop, which is how the gateway uses its queues.
    std::size_t size() const { return m_store.size(); }

private:
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_store_lock);
        while (!m_store.empty()) {
            m_store.pop();
        }
    }

    Container m_store;
    std::mutex m_store_lock;
    std::condition_variable_any m_cond_full;
    std::condition_variable_any m_cond_empty;
    std::size_t m_capacity;
    std::mutex m_mutex_cap;
};

#endif
