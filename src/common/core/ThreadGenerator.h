#ifndef LUMBRIX_THREAD_GENERATOR_H
#define LUMBRIX_THREAD_GENERATOR_H

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "common/util/KsSignal.h"

enum {
    E_THREAD_STATUS_CREATED = 0,
    E_THREAD_STATUS_RUNNING = 1,
    E_THREAD_STATUS_STOP_REQUESTED = 2,
    E_THREAD_STATUS_FINISHED = 3,
};

// Runs a member function of any object on a new detached thread, named when
// a name is given. The generator owns the (detached) thread object and the
// status word; the object whose function runs stays owned by the caller and
// must outlive the thread, as must the generator itself.
//
// The thread is created with the signals sent to the process blocked, so
// that they land on the main thread (see CKsSignal).
//
// Each generator thread gets its own thread-local keep-running flag, set on
// that thread when it starts. stop() clears only the calling thread's flag,
// so it ends the work only when the generator thread calls it itself; code
// that must end such a thread from outside keeps its own flag.
class CThreadGenerator {
public:
    CThreadGenerator();
    explicit CThreadGenerator(const std::string& name);

    template <typename T, typename F>
    int start(T* object, F memberFunction);

    int stop(bool wait = false);
    bool isRunning() const { return m_iThreadStatus == E_THREAD_STATUS_RUNNING; }
    int getStatus() const { return m_iThreadStatus; }
    const std::string& getName() const { return m_strThreadName; }

    static void setThreadRunningFlag();
    static bool isThreadNeedContinue();

private:
    void setSystemName(std::thread& thread) const;

    std::shared_ptr<std::thread> m_spThread;
    std::string m_strThreadName;
    std::atomic<int> m_iThreadStatus;
};

template <typename T, typename F>
int CThreadGenerator::start(T* object, F memberFunction)
{
    if (m_spThread) {
        return -1;
    }
    CKsSignal::CNewThreadMask mask;
    auto thread = std::make_shared<std::thread>([this, object, memberFunction]() {
        setThreadRunningFlag();
        m_iThreadStatus = E_THREAD_STATUS_RUNNING;
        (object->*memberFunction)();
        m_iThreadStatus = E_THREAD_STATUS_FINISHED;
    });
    setSystemName(*thread);
    thread->detach();
    m_spThread = thread;
    return 0;
}

#endif
