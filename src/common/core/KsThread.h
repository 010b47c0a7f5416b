#ifndef LUMBRIX_KS_THREAD_H
#define LUMBRIX_KS_THREAD_H

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "common/core/ThreadGenerator.h"

// Base class of a thread whose work is the virtual run(). The object owns
// its detached thread object and its status word (the values of
// CThreadGenerator); the subclass's run() polls isThreadNeedContinue() and
// returns when a stop has been requested. The object must outlive its thread.
class CKsThread {
public:
    // The function object the thread runs: marks the status around run().
    class CThreadFunc {
    public:
        explicit CThreadFunc(CKsThread* thread) : m_pThread(thread) {}
        void operator()();

    private:
        CKsThread* m_pThread;
    };

    explicit CKsThread(const std::string& name);
    virtual ~CKsThread() = default;
    virtual void run() = 0;

    int start();
    int stop(bool wait = false);
    // Waits for a stop request (not for the end of the thread).
    int wait();

    bool isRunning() const { return m_iThreadStatus == E_THREAD_STATUS_RUNNING; }
    bool isThreadNeedContinue() const;
    int getStatus() const { return m_iThreadStatus; }
    void setStatus(int status) { m_iThreadStatus = status; }
    const std::string& getName() const { return m_strThreadName; }

    static bool ms_bNeedRunning;

private:
    std::string m_strThreadName;
    std::shared_ptr<std::thread> m_spThread;
    std::atomic<int> m_iThreadStatus;
};

#endif
