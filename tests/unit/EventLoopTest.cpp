#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "EventLoop.h"
#include "IpcDriverManager.h"
#include "IpcHandleBase.h"
#include "TestLog.h"

using testing::HasSubstr;
using testing::Not;

namespace {

const auto kDeadline = std::chrono::seconds(5);
const auto kQuiet = std::chrono::milliseconds(150);

// One end of a datagram socket pair, registered with a loop; the test
// writes to the other end.
class CPairHandle : public CIpcHandleBase {
public:
    explicit CPairHandle(const std::string& name)
    {
        socketpair(AF_UNIX, SOCK_DGRAM, 0, m_fds);
        setName(name);
        setHandle(m_fds[0]);
        setIpcType(E_IPC_TYPE_SHM);
    }
    ~CPairHandle() override
    {
        close(m_fds[0]);
        close(m_fds[1]);
    }
    void poke() { send(m_fds[1], "x", 1, 0); }

    // Readiness events the driver lets pass before it reads the socket.
    std::atomic<int> m_iEventsBeforeDrain{0};
    // When set, the driver holds on this handle's first event until released.
    std::shared_future<void> m_gate;

private:
    int m_fds[2] = {-1, -1};
};

// A driver that records every event it is given and reads one datagram of a
// pair handle unless told to leave it.
class CRecordingDriver : public CIpcDriverBase {
public:
    explicit CRecordingDriver(int type) : m_iType(type) {}

    int getDriverType() override { return m_iType; }
    int sendData(int, const char*, int, const sockaddr_in&) override { return 0; }

    int handleEvent(int eventType, CIpcHandleBase* handle) override
    {
        CPairHandle* pair = dynamic_cast<CPairHandle*>(handle);
        if (pair != nullptr && pair->m_gate.valid()) {
            pair->m_gate.wait_for(kDeadline);
            pair->m_gate = std::shared_future<void>();
        }
        if (pair != nullptr) {
            if (pair->m_iEventsBeforeDrain > 0) {
                --pair->m_iEventsBeforeDrain;
            } else {
                char byte;
                recv(pair->getHandle(), &byte, 1, MSG_DONTWAIT);
            }
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_loopThread = pthread_self();
        m_iLastEvent = eventType;
        ++m_mapCount[handle];
        m_cond.notify_all();
        return 0;
    }

    int count(CIpcHandleBase* handle)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_mapCount[handle];
    }

    bool waitForCount(CIpcHandleBase* handle, int atLeast)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cond.wait_for(lock, kDeadline, [&] { return m_mapCount[handle] >= atLeast; });
    }

    // Handles of earlier tests may have lived at the same addresses.
    void reset()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_mapCount.clear();
    }

    std::mutex m_mutex;
    std::condition_variable m_cond;
    int m_iType;
    int m_iLastEvent = -1;
    std::map<CIpcHandleBase*, int> m_mapCount;
    pthread_t m_loopThread{};
};

// The drivers are process-wide, like the manager, and so is the loop most
// tests share: set up once per binary.
std::shared_ptr<CRecordingDriver> g_spShmDriver = std::make_shared<CRecordingDriver>(E_IPC_TYPE_SHM);
std::shared_ptr<CRecordingDriver> g_spTcpDriver = std::make_shared<CRecordingDriver>(E_IPC_TYPE_TCP);

class EventLoopTest : public testing::Test {
protected:
    void SetUp() override
    {
        static TempDir dir;
        static CEventLoop* loop = [] {
            useTestLog(dir);
            SPIpcDriverBase shm = g_spShmDriver;
            SPIpcDriverBase tcp = g_spTcpDriver;
            CIpcDriverManager::getInstance()->registerDriver(shm);
            CIpcDriverManager::getInstance()->registerDriver(tcp);
            CEventLoop* created = new CEventLoop();
            created->start();
            return created;
        }();
        m_pLoop = loop;
        g_spShmDriver->reset();
        g_spTcpDriver->reset();
    }
    CEventLoop* m_pLoop = nullptr;
};

TEST_F(EventLoopTest, SocketLeftUnreadIsReportedAgain)
{
    CPairHandle handle("undrained");
    handle.m_iEventsBeforeDrain = 3;
    ASSERT_EQ(m_pLoop->registerHandle(&handle), 0);
    handle.poke();
    ASSERT_TRUE(g_spShmDriver->waitForCount(&handle, 4));
    std::this_thread::sleep_for(kQuiet);
    EXPECT_EQ(g_spShmDriver->count(&handle), 4);
    EXPECT_EQ(m_pLoop->unRegisterHandle(handle.getHandle()), 0);
}

TEST_F(EventLoopTest, MoreReadySocketsThanOneWaitTakesAreAllServedOnceAsMessages)
{
    // Hold the loop thread while 150 sockets become readable at once.
    std::promise<void> release;
    CPairHandle gate("gate");
    gate.m_gate = release.get_future().share();
    ASSERT_EQ(m_pLoop->registerHandle(&gate), 0);
    gate.poke();

    std::vector<std::unique_ptr<CPairHandle>> handles;
    for (int i = 0; i < 150; ++i) {
        handles.push_back(std::make_unique<CPairHandle>("many"));
        ASSERT_EQ(m_pLoop->registerHandle(handles.back().get()), 0);
        handles.back()->poke();
    }
    release.set_value();

    for (auto& handle : handles) {
        EXPECT_TRUE(g_spShmDriver->waitForCount(handle.get(), 1));
    }
    std::this_thread::sleep_for(kQuiet);
    for (auto& handle : handles) {
        EXPECT_EQ(g_spShmDriver->count(handle.get()), 1);
        m_pLoop->unRegisterHandle(handle->getHandle());
    }
    m_pLoop->unRegisterHandle(gate.getHandle());
    EXPECT_EQ(g_spShmDriver->m_iLastEvent, E_EVENT_TYPE_MESSAGE);
}

TEST_F(EventLoopTest, RegisterAndUnregisterTwiceFailTheSecondTime)
{
    CPairHandle handle("twice");
    const std::string fd = std::to_string(handle.getHandle());
    const std::string out = captureStdout([&] {
        EXPECT_EQ(m_pLoop->registerHandle(&handle), 0);
        EXPECT_EQ(m_pLoop->registerHandle(&handle), -1);
        EXPECT_EQ(m_pLoop->unRegisterHandle(handle.getHandle()), 0);
        EXPECT_EQ(m_pLoop->unRegisterHandle(handle.getHandle()), -1);
    });
    EXPECT_THAT(out, HasSubstr("EventLoop.cpp:"));
    EXPECT_THAT(out, HasSubstr("Add an epoll event success, name:twice, handle:" + fd));
    EXPECT_THAT(out, HasSubstr("Fail to add an epoll event, error:17, name:twice, handle:" + fd));
    EXPECT_THAT(out, HasSubstr("Del an epoll event success, handle:" + fd));
    EXPECT_THAT(out, HasSubstr("Fail to del an epoll event, error:2, handle:" + fd));

    // Unregistered: no longer served.
    handle.poke();
    std::this_thread::sleep_for(kQuiet);
    EXPECT_EQ(g_spShmDriver->count(&handle), 0);
}

std::atomic<int> g_iSignals{0};

void countSignal(int)
{
    ++g_iSignals;
}

TEST_F(EventLoopTest, InterruptedWaitIsSilentAndTheLoopGoesOn)
{
    CPairHandle handle("signalled");
    ASSERT_EQ(m_pLoop->registerHandle(&handle), 0);
    handle.poke();
    ASSERT_TRUE(g_spShmDriver->waitForCount(&handle, 1));

    g_iSignals = 0;
    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = &countSignal;
    sigemptyset(&action.sa_mask);
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);

    bool served = false;
    const std::string out = captureStdout([&] {
        // Let the loop thread go back into its wait first.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        pthread_kill(g_spShmDriver->m_loopThread, SIGUSR1);
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (g_iSignals == 0 && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        handle.poke();
        served = g_spShmDriver->waitForCount(&handle, 2);
    });
    sigaction(SIGUSR1, &previous, nullptr);

    EXPECT_EQ(g_iSignals, 1);
    EXPECT_TRUE(served);
    EXPECT_THAT(out, Not(HasSubstr("Epoll wait return an error")));
    m_pLoop->unRegisterHandle(handle.getHandle());
}

TEST_F(EventLoopTest, StopTakesEffectOnlyAfterTheNextWakeUp)
{
    // This loop's thread ends here; the object stays for the process, since
    // nothing tells when the thread has quite finished with it.
    static CEventLoop* loop = new CEventLoop();
    CPairHandle handle("stopping");

    std::string out = captureStdout([&] {
        loop->start();
        loop->start();
        ASSERT_EQ(loop->registerHandle(&handle), 0);
        loop->stop();
        std::this_thread::sleep_for(kQuiet);
    });
    // A second start does nothing.
    EXPECT_EQ(out.find("Start event loop success."), out.rfind("Start event loop success.")) << out;
    EXPECT_THAT(out, HasSubstr("Event loop thread is started"));
    EXPECT_THAT(out, Not(HasSubstr("Event loop thread is stopped")));

    // The wake-up is still served, then the thread leaves.
    bool served = false;
    out = captureStdout([&] {
        handle.poke();
        served = g_spShmDriver->waitForCount(&handle, 1);
        std::this_thread::sleep_for(kQuiet);
        handle.poke();
        std::this_thread::sleep_for(kQuiet);
    });
    EXPECT_TRUE(served);
    EXPECT_EQ(g_spShmDriver->count(&handle), 1);
    EXPECT_THAT(out, HasSubstr("Event loop thread is stopped"));
    loop->unRegisterHandle(handle.getHandle());
}

TEST_F(EventLoopTest, DriverManagerPicksTheDriverByIpcTypeAndTheEventByListeningOrNot)
{
    CIpcDriverManager* manager = CIpcDriverManager::getInstance();
    CIpcHandleBase handle;
    const struct {
        int m_iIpcType;
        int m_iEvent;
    } cases[] = {{E_IPC_TYPE_TCP, E_EVENT_TYPE_CONNECTION}, {E_IPC_TYPE_TCP_Client, E_EVENT_TYPE_MESSAGE}};
    for (const auto& c : cases) {
        handle.setIpcType(c.m_iIpcType);
        EXPECT_EQ(manager->handleEvent(&handle), 0);
        EXPECT_EQ(g_spTcpDriver->m_iLastEvent, c.m_iEvent) << c.m_iIpcType;
    }
    EXPECT_EQ(g_spTcpDriver->count(&handle), 2);

    // A type without a driver is reported on standard output.
    handle.setIpcType(E_IPC_TYPE_UDP_Client);
    const std::string out = captureStdout([&] { EXPECT_EQ(manager->handleEvent(&handle), -1); });
    EXPECT_EQ(out, "handle a msg failed, ipc type:5\n");
}

}
