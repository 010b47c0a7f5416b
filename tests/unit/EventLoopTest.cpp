// The epoll event loop and the driver manager, with recording drivers in
// place of the socket drivers and socket pairs as handles.
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include "common/ipc/eventDriver/EventLoop.h"
#include "common/ipc/ipcDriver/IpcDriverManager.h"
#include "common/ipc/IpcHandleBase.h"
#include "UnitTest.h"

namespace {

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
        if (pair != nullptr && pair->m_iEventsBeforeDrain-- <= 0) {
            char byte;
            recv(pair->getHandle(), &byte, 1, MSG_DONTWAIT);
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        m_loopThread = pthread_self();
        m_iLastEvent = eventType;
        ++m_mapCount[handle];
        return 0;
    }

    int count(CIpcHandleBase* handle)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_mapCount[handle];
    }

    bool waitForCount(CIpcHandleBase* handle, int atLeast)
    {
        return eventually([&] { return count(handle) >= atLeast; });
    }

    std::mutex m_mutex;
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
        static CTempDir dir;
        static CEventLoop* loop = [] {
            useTestLog(dir);
            for (SPIpcDriverBase driver : {SPIpcDriverBase(g_spShmDriver), SPIpcDriverBase(g_spTcpDriver)}) {
                CIpcDriverManager::getInstance()->registerDriver(driver);
            }
            CEventLoop* created = new CEventLoop();
            created->start();
            return created;
        }();
        m_pLoop = loop;
        // Handles of earlier tests may have lived at the same addresses.
        for (auto& driver : {g_spShmDriver, g_spTcpDriver}) {
            std::lock_guard<std::mutex> lock(driver->m_mutex);
            driver->m_mapCount.clear();
        }
    }
    CEventLoop* m_pLoop = nullptr;
};

// 150 sockets become readable while the loop is held: more than one wait
// takes. Each is served once, as a message, except the one left unread,
// which is reported again until read.
TEST_F(EventLoopTest, EveryReadySocketIsServedUntilRead)
{
    std::promise<void> release;
    CPairHandle gate("gate");
    gate.m_gate = release.get_future().share();
    ASSERT_EQ(m_pLoop->registerHandle(&gate), 0);
    gate.poke();

    std::vector<std::unique_ptr<CPairHandle>> handles;
    for (int i = 0; i < 150; ++i) {
        handles.push_back(std::make_unique<CPairHandle>("many"));
        handles.back()->m_iEventsBeforeDrain = i == 7 ? 3 : 0;
        ASSERT_EQ(m_pLoop->registerHandle(handles.back().get()), 0);
        handles.back()->poke();
    }
    release.set_value();

    for (size_t i = 0; i < handles.size(); ++i) {
        EXPECT_TRUE(g_spShmDriver->waitForCount(handles[i].get(), i == 7 ? 4 : 1));
    }
    sleepMs(150);
    for (size_t i = 0; i < handles.size(); ++i) {
        EXPECT_EQ(g_spShmDriver->count(handles[i].get()), i == 7 ? 4 : 1);
        EXPECT_EQ(m_pLoop->unRegisterHandle(handles[i]->getHandle()), 0);
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
    for (const std::string& line :
         {"Add an epoll event success, name:twice, handle:" + fd,
          "Fail to add an epoll event, error:17, name:twice, handle:" + fd, "Del an epoll event success, handle:" + fd,
          "Fail to del an epoll event, error:2, handle:" + fd}) {
        EXPECT_THAT(out, HasSubstr(line));
    }
    // Unregistered: no longer served.
    handle.poke();
    sleepMs(150);
    EXPECT_EQ(g_spShmDriver->count(&handle), 0);
}

std::atomic<int> g_iSignals{0};

TEST_F(EventLoopTest, InterruptedWaitIsSilentAndTheLoopGoesOn)
{
    CPairHandle handle("signalled");
    ASSERT_EQ(m_pLoop->registerHandle(&handle), 0);
    handle.poke();
    ASSERT_TRUE(g_spShmDriver->waitForCount(&handle, 1));

    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = [](int) { ++g_iSignals; };
    sigemptyset(&action.sa_mask);
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);
    bool served = false;
    const std::string out = captureStdout([&] {
        // Let the loop thread go back into its wait first.
        sleepMs(20);
        pthread_kill(g_spShmDriver->m_loopThread, SIGUSR1);
        eventually([] { return g_iSignals > 0; });
        handle.poke();
        served = g_spShmDriver->waitForCount(&handle, 2);
    });
    sigaction(SIGUSR1, &previous, nullptr);

    EXPECT_EQ(g_iSignals, 1);
    EXPECT_TRUE(served);
    EXPECT_THAT(out, Not(HasSubstr("Epoll wait return an error")));
    m_pLoop->unRegisterHandle(handle.getHandle());
}

TEST_F(EventLoopTest, DriverManagerPicksTheDriverByIpcTypeAndTheEventByListeningOrNot)
{
    CIpcDriverManager* manager = CIpcDriverManager::getInstance();
    CIpcHandleBase handle;
    const struct {
        int m_iIpcType;
        int m_iResult;
        int m_iEvent; // the TCP driver's last event
        std::string m_strPrinted;
    } rows[] = {{E_IPC_TYPE_TCP, 0, E_EVENT_TYPE_CONNECTION, ""},
                {E_IPC_TYPE_TCP_Client, 0, E_EVENT_TYPE_MESSAGE, ""},
                // A type without a driver is reported on standard output.
                {E_IPC_TYPE_UDP_Client, -1, E_EVENT_TYPE_MESSAGE, "handle a msg failed, ipc type:5\n"},
                {-1, -1, E_EVENT_TYPE_MESSAGE, "handle a msg failed, ipc type:-1\n"}};
    for (const auto& row : rows) {
        handle.setIpcType(row.m_iIpcType);
        int result = 0;
        EXPECT_EQ(row.m_strPrinted, withoutLoopStart(captureStdout([&] { result = manager->handleEvent(&handle); })));
        EXPECT_EQ(row.m_iResult, result) << row.m_iIpcType;
        EXPECT_EQ(g_spTcpDriver->m_iLastEvent, row.m_iEvent) << row.m_iIpcType;
    }
    EXPECT_EQ(g_spTcpDriver->count(&handle), 2);
}

} // namespace
