#include "common/ipc/eventDriver/EventLoop.h"

#include <unistd.h>

#include <cerrno>

#include "common/ipc/ipcDriver/IpcDriverManager.h"
#include "common/ipc/IpcHandleBase.h"
#include "common/core/KsLog.h"

namespace {
// Size of the epoll hint and of the receive array: at most this many ready
// sockets per wait, the rest come with the next one (level-triggered).
const int kMaxEvents = 100;
} // namespace

CEventLoop::CEventLoop() : m_bInited(false), m_bIsRunning(false), m_fdEpoll(-1), m_bHasRetired(false) {}

CEventLoop::~CEventLoop()
{
    m_bInited = false;
    m_bIsRunning = false;
    if (m_fdEpoll >= 0) {
        close(m_fdEpoll);
    }
    m_spThread.reset();
    m_vecEvent.clear();
}

void CEventLoop::start()
{
    std::lock_guard<std::mutex> lock(m_mutexInit);
    if (m_bInited) {
        return;
    }
    m_fdEpoll = epoll_create(kMaxEvents);
    if (m_fdEpoll < 0) {
        KS_LOG_ERROR("Fail to create epoll, error:" << errno);
        return;
    }
    m_vecEvent.resize(kMaxEvents);
    m_spThread = std::make_shared<CThreadGenerator>();
    if (m_spThread->start<CEventLoop, void (CEventLoop::*)()>(this, &CEventLoop::eventLoopThread) != 0) {
        KS_LOG_ERROR("Fail to start event loop thread.");
        return;
    }
    KS_LOG_INFO("Start event loop success.");
    m_bInited = true;
    m_bIsRunning = true;
}

void CEventLoop::stop()
{
    m_bInited = false;
    m_bIsRunning = false;
}

int CEventLoop::registerHandle(CIpcHandleBase* handle)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.ptr = handle;
    if (epoll_ctl(m_fdEpoll, EPOLL_CTL_ADD, handle->getHandle(), &event) != 0) {
        const int error = errno;
        KS_LOG_ERROR("Fail to add an epoll event, error:" << error << ", name:" << handle->getName()
                                                          << ", handle:" << handle->getHandle());
        return -1;
    }
    KS_LOG_INFO("Add an epoll event success, name:" << handle->getName() << ", handle:" << handle->getHandle());
    return 0;
}

void CEventLoop::retire(std::shared_ptr<CIpcHandleBase> handle)
{
    std::lock_guard<std::mutex> lock(m_mutexRetired);
    m_vecRetired.push_back(std::move(handle));
    m_bHasRetired.store(true, std::memory_order_release);
}

int CEventLoop::unRegisterHandle(int fd)
{
    epoll_event event = {};
    if (epoll_ctl(m_fdEpoll, EPOLL_CTL_DEL, fd, &event) != 0) {
        const int error = errno;
        KS_LOG_ERROR("Fail to del an epoll event, error:" << error << ", handle:" << fd);
        return -1;
    }
    KS_LOG_INFO("Del an epoll event success, handle:" << fd);
    return 0;
}

void CEventLoop::eventLoopThread()
{
    KS_LOG_INFO("Event loop thread is started");
    while (true) {
        const int count = epoll_wait(m_fdEpoll, m_vecEvent.data(), static_cast<int>(m_vecEvent.size()), -1);
        if (count >= 0) {
            for (int i = 0; i < count; ++i) {
                CIpcHandleBase* handle = static_cast<CIpcHandleBase*>(m_vecEvent[i].data.ptr);
                if (handle != nullptr) {
                    CIpcDriverManager::getInstance()->handleEvent(handle);
                }
            }
        } else {
            const int error = errno;
            if (error != EINTR) {
                KS_LOG_ERROR("Epoll wait return an error:" << error);
            }
        }
        // No pointer of this round is used any more: retired handles go.
        if (m_bHasRetired.load(std::memory_order_acquire)) {
            std::vector<std::shared_ptr<CIpcHandleBase>> retired;
            {
                std::lock_guard<std::mutex> lock(m_mutexRetired);
                retired.swap(m_vecRetired);
                m_bHasRetired.store(false, std::memory_order_relaxed);
            }
        }
        if (!m_bIsRunning) {
            break;
        }
    }
    KS_LOG_INFO("Event loop thread is stopped");
}
