// The IPC façade over the real drivers and event loop: UDP servers and
// clients, the send path by IPC type, unregistering, and the TCP driver.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "common/ipc/IpcFramework.h"
#include "kit/UdpPeer.h"
#include "UnitTest.h"

namespace {

// Records what the driver hands over ("<len> <data> from <port>"). With a gate set, the first read holds
// the event-loop thread until the gate opens. A listening TCP handle hands
// out one such handle per connection.
class CRecordingHandle : public CIpcHandleBase {
public:
    int onReaded(int len, char* data) override
    {
        std::shared_future<void> gate;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_vecReads.push_back(read(len, std::string(data, len > 0 ? len : 0), getRemotePort()));
            gate = m_gate;
            m_gate = std::shared_future<void>();
            m_cond.notify_all();
        }
        if (gate.valid()) {
            gate.wait_for(kDeadline);
            ++m_iGatesLeft; // the handle is still used after the wait
        }
        return 0;
    }

    std::shared_ptr<CIpcHandleBase> onConnected() override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_spConnection = std::make_shared<CRecordingHandle>();
        m_cond.notify_all();
        return m_spConnection;
    }

    static std::string read(int len, const std::string& data, uint16_t port)
    {
        return std::to_string(len) + " " + data + " from " + std::to_string(port);
    }

    // The reads once count of them have arrived, or what there is by the deadline.
    std::vector<std::string> reads(size_t count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cond.wait_for(lock, kDeadline, [&] { return m_vecReads.size() >= count; });
        return m_vecReads;
    }

    std::shared_ptr<CRecordingHandle> connection()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cond.wait_for(lock, kDeadline, [&] { return m_spConnection != nullptr; });
        return m_spConnection;
    }

    std::mutex m_mutex;
    std::condition_variable m_cond;
    std::vector<std::string> m_vecReads;
    std::shared_future<void> m_gate;
    std::atomic<int> m_iGatesLeft{0};
    std::shared_ptr<CRecordingHandle> m_spConnection;
    std::atomic<bool>* m_pGone = nullptr; // set when the handle goes

    ~CRecordingHandle() override
    {
        if (m_pGone != nullptr) {
            *m_pGone = true;
        }
    }
};

class IpcFrameworkTest : public testing::Test {
protected:
    // The framework and its loop live for the process: set up once.
    static void SetUpTestSuite()
    {
        static CTempDir dir;
        static bool done = [] {
            useTestLog(dir);
            return CIpcFramework::getInstance()->init() == 0;
        }();
        ASSERT_TRUE(done);
    }

    CIpcFramework* framework() { return CIpcFramework::getInstance(); }

    static uint16_t boundPort(int fd)
    {
        sockaddr_in addr = {};
        socklen_t len = sizeof(addr);
        getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
        return ntohs(addr.sin_port);
    }

    // A UDP server of the framework on an ephemeral loopback port.
    std::shared_ptr<CRecordingHandle> udpServer(uint16_t& port)
    {
        // Allocated on its own, so that its memory goes with the object.
        std::shared_ptr<CRecordingHandle> handle(new CRecordingHandle());
        EXPECT_EQ(framework()->createUDPServer("127.0.0.1", 0, handle), 0);
        port = boundPort(handle->getHandle());
        return handle;
    }

    CUdpPeer m_peer{0};
};

// While the first read holds the loop, more datagrams queue up; each comes
// as one read of at most 4096 bytes, empty ones too, with the sender's port.
TEST_F(IpcFrameworkTest, UdpServerReadsQueuedDatagramsOneByOne)
{
    uint16_t port = 0;
    auto handle = udpServer(port);
    EXPECT_EQ(framework()->getHandleBase(handle->getHandle()), handle);
    std::promise<void> open;
    handle->m_gate = open.get_future().share();
    std::string longData(5000, 'a');
    longData[4095] = 'L';
    ASSERT_TRUE(m_peer.sendTo(port, ""));
    ASSERT_EQ(handle->reads(1).size(), 1u);
    ASSERT_TRUE(m_peer.sendTo(port, longData));
    ASSERT_TRUE(m_peer.sendTo(port, "third"));
    sleepMs(20);
    open.set_value();

    const uint16_t from = m_peer.port();
    using H = CRecordingHandle;
    EXPECT_EQ(handle->reads(3),
              (std::vector<std::string>{H::read(0, "", from), H::read(4096, longData.substr(0, 4096), from),
                                        H::read(5, "third", from)}));
    sleepMs(150);
    EXPECT_EQ(handle->reads(3).size(), 3u);
}

// A UDP client is never registered with the loop. Only UDP types send; the
// others report success and send nothing.
TEST_F(IpcFrameworkTest, SendPathByIpcType)
{
    auto client = std::make_shared<CIpcHandleBase>();
    captureStdout([&] { ASSERT_EQ(framework()->createUDPClient("127.0.0.1", m_peer.port(), client, "", 0), 0); });
    const int fd = client->getHandle();
    EXPECT_EQ(framework()->getHandleBase(fd), nullptr);
    const struct {
        int m_iType;
        int m_iFd;
        int m_iResult;
        std::string m_strPrinted;
        bool m_bArrives;
    } rows[] = {
        {E_IPC_TYPE_DEFAULT, fd, 0, "", false},
        {E_IPC_TYPE_SHM, fd, 0, "", false},
        {E_IPC_TYPE_TCP_Client, fd, 0, "", false},
        {E_IPC_TYPE_UDP, -1, -1, "When receive data, the socket is not init.", false},
        {E_IPC_TYPE_UDP_Client, -1, -1, "udp send data", false},
        {E_IPC_TYPE_UDP_Client, fd, 0, "", true},
        {E_IPC_TYPE_UDP, fd, 0, "", true},
    };
    for (const auto& row : rows) {
        int result = 0;
        const std::string out = captureStdout(
            [&] { result = framework()->sendData(row.m_iType, row.m_iFd, "sent", 4, "127.0.0.1", m_peer.port()); });
        EXPECT_EQ(row.m_iResult, result) << row.m_iType;
        EXPECT_THAT(out, HasSubstr(row.m_strPrinted)) << row.m_iType;
        std::string got;
        EXPECT_EQ(row.m_bArrives, m_peer.receive(got, row.m_bArrives ? 2000 : 20)) << row.m_iType;
    }
    close(fd);

    CIpcHandleBase unopened;
    unopened.setIpcType(E_IPC_TYPE_UDP_Client);
    captureStdout([&] { EXPECT_EQ(unopened.sendData("x", 1), -1); });
}

// Unregistered and dropped by another thread while the loop is inside its
// callback, a handle is forgotten at once but lives on until the loop's
// round is over (a freed handle would be written to after the gate).
TEST_F(IpcFrameworkTest, HandleDroppedDuringItsEventOutlivesTheEvent)
{
    uint16_t port = 0;
    std::shared_ptr<CRecordingHandle> handle = udpServer(port);
    std::atomic<bool> gone{false};
    handle->m_pGone = &gone;
    std::promise<void> open;
    handle->m_gate = open.get_future().share();
    ASSERT_TRUE(m_peer.sendTo(port, "x"));
    ASSERT_EQ(handle->reads(1).size(), 1u);
    const int fd = handle->getHandle();
    EXPECT_EQ(framework()->unRegisterEvent(fd), 0);
    EXPECT_EQ(framework()->getHandleBase(fd), nullptr);
    const std::string out = captureStdout([&] { EXPECT_EQ(framework()->unRegisterEvent(fd), -1); });
    EXPECT_THAT(out, HasSubstr("unRegister handle failed"));
    handle.reset();
    EXPECT_FALSE(gone);
    open.set_value();
    // Once the loop has served the next event it is done with the dropped
    // handle, which went at the end of its own round.
    uint16_t nextPort = 0;
    std::shared_ptr<CRecordingHandle> next = udpServer(nextPort);
    ASSERT_TRUE(m_peer.sendTo(nextPort, "y"));
    ASSERT_EQ(next->reads(1).size(), 1u);
    EXPECT_TRUE(gone);
    close(fd);
}

TEST_F(IpcFrameworkTest, PortInUseFailsTheServer)
{
    auto handle = std::make_shared<CRecordingHandle>();
    auto listener = std::make_shared<CRecordingHandle>();
    ASSERT_EQ(framework()->createTCPServer("127.0.0.1", 0, listener), 0);
    const uint16_t port = boundPort(listener->getHandle());
    // The lowest free descriptor, before and after: a failed creation keeps none open.
    const int lowestFree = dup(0);
    close(lowestFree);
    const std::string out = captureStdout([&] {
        EXPECT_EQ(framework()->createUDPServer("127.0.0.1", m_peer.port(), handle), -1);
        EXPECT_EQ(framework()->createTCPServer("127.0.0.1", port, handle), -1);
        EXPECT_EQ(framework()->createTCPClient("127.0.0.1", CUdpPeer::freePort(), handle), -1);
    });
    EXPECT_THAT(out, HasSubstr("failed to create UdpServer"));
    EXPECT_THAT(out, HasSubstr("failed to create TcpServer"));
    EXPECT_THAT(out, HasSubstr("failed to create TcpClient"));
    EXPECT_EQ(handle->getHandle(), -1);
    const int stillFree = dup(0);
    close(stillFree);
    EXPECT_EQ(lowestFree, stillFree);
    framework()->unRegisterEvent(listener->getHandle());
    close(listener->getHandle());
}

TEST_F(IpcFrameworkTest, TcpServerDeliversTheStreamOfAnAcceptedConnection)
{
    auto listener = std::make_shared<CRecordingHandle>();
    ASSERT_EQ(framework()->createTCPServer("127.0.0.1", 0, listener), 0);
    EXPECT_EQ(listener->getIpcType(), E_IPC_TYPE_TCP);

    auto client = std::make_shared<CIpcHandleBase>();
    ASSERT_EQ(framework()->createTCPClient("127.0.0.1", boundPort(listener->getHandle()), client), 0);
    EXPECT_EQ(client->getIpcType(), E_IPC_TYPE_TCP_Client);
    // A connecting handle of type 4 sends nothing through the façade.
    EXPECT_EQ(client->sendData("none", 4), 0);
    // One byte: a send that writes a single byte is no failure.
    ASSERT_EQ(framework()->sendData(E_IPC_TYPE_TCP, client->getHandle(), "p", 1, "", 0), 0);

    auto connection = listener->connection();
    ASSERT_NE(connection, nullptr);
    ASSERT_EQ(connection->reads(1).size(), 1u);
    EXPECT_EQ(connection->reads(1)[0], CRecordingHandle::read(1, "p", boundPort(client->getHandle())));
    EXPECT_EQ(connection->getIpcType(), E_IPC_TYPE_TCP_Client);
    EXPECT_EQ(framework()->getHandleBase(connection->getHandle()), connection);
    // A stream closed for writing: the send fails, in one line, without a SIGPIPE.
    shutdown(client->getHandle(), SHUT_WR);
    const std::string out = captureStdout(
        [&] { EXPECT_EQ(framework()->sendData(E_IPC_TYPE_TCP, client->getHandle(), "p", 1, "", 0), -1); });
    EXPECT_THAT(out, HasSubstr("Fail to send tcp data, error:32, fd:" + std::to_string(client->getHandle())));
    close(client->getHandle());
}

} // namespace
