#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IpcFramework.h"
#include "IpcHandleWrapper.h"
#include "TestLog.h"
#include "UdpPeer.h"

using testing::HasSubstr;

namespace {

const auto kDeadline = std::chrono::seconds(5);
const int kQuietMs = 150;

struct TRead {
    int m_iLen;
    std::string m_strData;
    uint16_t m_iPort;
};

// Records what the driver hands over. With a gate set, the first read holds
// the event-loop thread until the gate opens.
class CRecordingHandle : public CIpcHandleBase {
public:
    int onReaded(int len, char* data) override
    {
        std::shared_future<void> gate;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_vecReads.push_back({len, std::string(data, len > 0 ? len : 0), getRemotePort()});
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

    bool waitForReads(size_t count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cond.wait_for(lock, kDeadline, [&] { return m_vecReads.size() >= count; });
    }

    std::vector<TRead> reads()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_vecReads;
    }

    std::mutex m_mutex;
    std::condition_variable m_cond;
    std::vector<TRead> m_vecReads;
    std::shared_future<void> m_gate;
    std::atomic<int> m_iGatesLeft{0};
};

class IpcFrameworkTest : public testing::Test {
protected:
    // The framework and its loop live for the process: set up once.
    static void SetUpTestSuite()
    {
        static TempDir dir;
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
        auto handle = std::make_shared<CRecordingHandle>();
        EXPECT_EQ(framework()->createUDPServer("127.0.0.1", 0, handle), 0);
        port = boundPort(handle->getHandle());
        return handle;
    }

    UdpPeer m_peer;
};

// The sender's address reaches the gateway's own "Receive msg from remote"
// line, checked end to end.
TEST_F(IpcFrameworkTest, UdpServerDeliversEmptyDatagramsToo)
{
    uint16_t port = 0;
    auto handle = udpServer(port);
    EXPECT_EQ(framework()->getHandleBase(handle->getHandle()), handle);
    ASSERT_TRUE(m_peer.sendTo(port, ""));
    ASSERT_TRUE(handle->waitForReads(1));
    EXPECT_EQ(handle->reads()[0].m_iLen, 0);
    EXPECT_EQ(handle->reads()[0].m_iPort, m_peer.port());
}

TEST_F(IpcFrameworkTest, LongDatagramIsCutTo4096Bytes)
{
    uint16_t port = 0;
    auto handle = udpServer(port);
    std::string data(5000, 'a');
    data[4095] = 'L';
    ASSERT_TRUE(m_peer.sendTo(port, data));
    ASSERT_TRUE(handle->waitForReads(1));
    EXPECT_EQ(handle->reads()[0].m_iLen, 4096);
    EXPECT_EQ(handle->reads()[0].m_strData, data.substr(0, 4096));
}

TEST_F(IpcFrameworkTest, QueuedDatagramsAreReadOneByOne)
{
    uint16_t port = 0;
    auto handle = udpServer(port);
    std::promise<void> open;
    handle->m_gate = open.get_future().share();

    // The first read holds the loop while two more datagrams queue up.
    ASSERT_TRUE(m_peer.sendTo(port, "first"));
    ASSERT_TRUE(handle->waitForReads(1));
    ASSERT_TRUE(m_peer.sendTo(port, "second"));
    ASSERT_TRUE(m_peer.sendTo(port, "third"));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    open.set_value();

    ASSERT_TRUE(handle->waitForReads(3));
    std::this_thread::sleep_for(std::chrono::milliseconds(kQuietMs));
    const std::vector<TRead> reads = handle->reads();
    ASSERT_EQ(reads.size(), 3u);
    EXPECT_EQ(reads[1].m_strData, "second");
    EXPECT_EQ(reads[2].m_strData, "third");
}

TEST_F(IpcFrameworkTest, UdpClientSendsFromItsLocalPortOrAnEphemeralOneAndIsNeverRegistered)
{
    const uint16_t local = freeUdpPort();
    const std::string remote = "127.0.0.1:" + std::to_string(m_peer.port());
    const struct {
        std::string m_strLocalIP;
        uint16_t m_iLocalPort;
        std::string m_strPrinted;
    } cases[] = {{"", 0, "create Udp client: localhost --> " + remote},
                 {"127.0.0.1", local, "create Udp client: 127.0.0.1:" + std::to_string(local) + " --> " + remote}};
    for (const auto& c : cases) {
        auto client = std::make_shared<CIpcHandleBase>();
        const std::string out = captureStdout([&] {
            ASSERT_EQ(framework()->createUDPClient("127.0.0.1", m_peer.port(), client, c.m_strLocalIP,
                                                   c.m_iLocalPort),
                      0);
        });
        const int fd = client->getHandle();
        EXPECT_THAT(out, HasSubstr(c.m_strPrinted + ", sockfd = " + std::to_string(fd) + "\n"));
        EXPECT_THAT(out, HasSubstr("Create udp client success, remote ip:127.0.0.1, remote port:" +
                                   std::to_string(m_peer.port()) + ", fd:" + std::to_string(fd)));
        EXPECT_EQ(framework()->getHandleBase(fd), nullptr);

        std::string text = "hello";
        EXPECT_EQ(CIpcHandleWrapper(client).sendData(text), 0);
        std::string got;
        EXPECT_TRUE(m_peer.receive(got, 2000));
        EXPECT_EQ(got, "hello");
        // Sent from the given port, or from one the kernel picked.
        EXPECT_NE(boundPort(fd), 0);
        if (c.m_iLocalPort != 0) {
            EXPECT_EQ(boundPort(fd), local);
        }
        close(fd);
    }
}

TEST_F(IpcFrameworkTest, SendOnAnUnopenedSocketFails)
{
    CIpcHandleBase unopened;
    unopened.setIpcType(E_IPC_TYPE_UDP_Client);
    const std::string out = captureStdout([&] {
        EXPECT_EQ(framework()->sendData(E_IPC_TYPE_UDP, -1, "x", 1, "127.0.0.1", 9), -1);
        EXPECT_EQ(unopened.sendData("x", 1), -1);
    });
    EXPECT_THAT(out, HasSubstr("When receive data, the socket is not init."));
    EXPECT_THAT(out, HasSubstr("udp send data"));
    EXPECT_EQ(CIpcHandleWrapper().sendData("x", 1), -1);
}

TEST_F(IpcFrameworkTest, TypesWithoutASendPathReportSuccessAndSendNothing)
{
    auto client = std::make_shared<CIpcHandleBase>();
    captureStdout([&] { ASSERT_EQ(framework()->createUDPClient("127.0.0.1", m_peer.port(), client, "", 0), 0); });
    const int fd = client->getHandle();
    for (int type : {E_IPC_TYPE_DEFAULT, E_IPC_TYPE_SHM, E_IPC_TYPE_TCP_Client}) {
        EXPECT_EQ(framework()->sendData(type, fd, "lost", 4, "127.0.0.1", m_peer.port()), 0) << type;
    }
    // The same descriptor and address do work for a UDP type.
    EXPECT_EQ(framework()->sendData(E_IPC_TYPE_UDP_Client, fd, "kept", 4, "127.0.0.1", m_peer.port()), 0);
    std::string got;
    EXPECT_TRUE(m_peer.receive(got, 2000));
    EXPECT_EQ(got, "kept");
    close(fd);
}

TEST_F(IpcFrameworkTest, UnregisteredHandleIsForgotten)
{
    uint16_t port = 0;
    const int fd = udpServer(port)->getHandle();
    EXPECT_EQ(framework()->unRegisterEvent(fd), 0);
    EXPECT_EQ(framework()->getHandleBase(fd), nullptr);
    const std::string out = captureStdout([&] { EXPECT_EQ(framework()->unRegisterEvent(fd), -1); });
    EXPECT_THAT(out, HasSubstr("unRegister handle failed"));
    close(fd);
}

// Unregistered and dropped by another thread while the loop is inside its
// callback, a handle lives on until the loop's round is over (a freed
// handle would be written to after the gate).
TEST_F(IpcFrameworkTest, HandleDroppedDuringItsEventOutlivesTheEvent)
{
    uint16_t port = 0;
    std::shared_ptr<CRecordingHandle> handle = udpServer(port);
    std::promise<void> open;
    handle->m_gate = open.get_future().share();
    const std::weak_ptr<CRecordingHandle> watch = handle;
    ASSERT_TRUE(m_peer.sendTo(port, "x"));
    ASSERT_TRUE(handle->waitForReads(1));
    const int fd = handle->getHandle();
    EXPECT_EQ(framework()->unRegisterEvent(fd), 0);
    handle.reset();
    EXPECT_FALSE(watch.expired());
    open.set_value();
    for (int i = 0; i < 500 && !watch.expired(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(watch.expired());
    close(fd);
}

TEST_F(IpcFrameworkTest, PortInUseFailsTheServer)
{
    auto handle = std::make_shared<CRecordingHandle>();
    const std::string out =
        captureStdout([&] { EXPECT_EQ(framework()->createUDPServer("127.0.0.1", m_peer.port(), handle), -1); });
    EXPECT_THAT(out, HasSubstr("error in udp bind"));
    EXPECT_THAT(out, HasSubstr("failed to create UdpServer"));
    EXPECT_EQ(handle->getHandle(), -1);
}

}

namespace {

// A listening TCP handle that hands out one recording handle per connection.
class CListeningHandle : public CIpcHandleBase {
public:
    std::shared_ptr<CIpcHandleBase> onConnected() override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_spConnection = std::make_shared<CRecordingHandle>();
        return m_spConnection;
    }
    std::shared_ptr<CRecordingHandle> connection()
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (std::chrono::steady_clock::now() < end) {
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                if (m_spConnection) {
                    return m_spConnection;
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return nullptr;
    }
    std::mutex m_mutex;
    std::shared_ptr<CRecordingHandle> m_spConnection;
};

TEST_F(IpcFrameworkTest, TcpServerDeliversTheStreamOfAnAcceptedConnection)
{
    auto listener = std::make_shared<CListeningHandle>();
    ASSERT_EQ(framework()->createTCPServer("127.0.0.1", 0, listener), 0);
    EXPECT_EQ(listener->getIpcType(), E_IPC_TYPE_TCP);

    auto client = std::make_shared<CIpcHandleBase>();
    ASSERT_EQ(framework()->createTCPClient("127.0.0.1", boundPort(listener->getHandle()), client), 0);
    EXPECT_EQ(client->getIpcType(), E_IPC_TYPE_TCP_Client);
    // A connecting handle of type 4 sends nothing through the façade.
    EXPECT_EQ(client->sendData("none", 4), 0);
    ASSERT_EQ(framework()->sendData(E_IPC_TYPE_TCP, client->getHandle(), "ping", 4, "", 0), 0);

    auto connection = listener->connection();
    ASSERT_NE(connection, nullptr);
    ASSERT_TRUE(connection->waitForReads(1));
    EXPECT_EQ(connection->reads()[0].m_strData, "ping");
    EXPECT_EQ(connection->getIpcType(), E_IPC_TYPE_TCP_Client);
    EXPECT_EQ(framework()->getHandleBase(connection->getHandle()), connection);
    close(client->getHandle());
}

} // namespace
