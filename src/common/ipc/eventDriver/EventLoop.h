#ifndef LUMBRIX_EVENT_LOOP_H
#define LUMBRIX_EVENT_LOOP_H

#include <sys/epoll.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "common/core/ThreadGenerator.h"

class CIpcHandleBase;

// The reactor: one epoll instance and the one thread that waits on it. A
// registered socket's entry carries the raw pointer of its handle; when the
// socket is readable the handle goes to the driver manager, which reads it on
// this thread. The loop owns the epoll descriptor, the event array and its
// thread object. The framework's handle map owns the handles; a handle
// unregistered (from any thread) is retired to the loop, which keeps it
// until the end of its current dispatch round, so that an event already
// taken from epoll never reaches a freed handle.
class CEventLoop {
public:
    CEventLoop();
    ~CEventLoop();
    CEventLoop(const CEventLoop&) = delete;
    CEventLoop& operator=(const CEventLoop&) = delete;

    // Creates the epoll instance and starts the loop thread; a second call
    // does nothing. Failures are logged only.
    void start();
    // Lets the thread leave its loop after its next wake-up; wakes nobody.
    void stop();

    int registerHandle(CIpcHandleBase* handle);
    int unRegisterHandle(int fd);
    // Keeps an unregistered handle alive until the loop thread ends the
    // dispatch round under way (or, when it waits, the next one).
    void retire(std::shared_ptr<CIpcHandleBase> handle);

    void eventLoopThread();

private:
    std::mutex m_mutexInit;
    std::atomic<bool> m_bInited;
    std::atomic<bool> m_bIsRunning;
    int m_fdEpoll;
    std::vector<epoll_event> m_vecEvent;
    std::shared_ptr<CThreadGenerator> m_spThread;

    std::mutex m_mutexRetired;
    std::vector<std::shared_ptr<CIpcHandleBase>> m_vecRetired;
    std::atomic<bool> m_bHasRetired;
};

#endif
