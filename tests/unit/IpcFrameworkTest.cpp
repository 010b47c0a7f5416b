#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

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
#include "IpcTcpSocketDriver.h"
#include "KsLog.h"
#include "TempDir.h"

using testing::HasSubstr;

namespace {

const auto kDeadline = std::chrono::seconds(5);
const int kQuietMs = 150;

struct TRead {
    int m_iLen;
    std::string m_strData;
    std::string m_strIP;
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
            m_vecReads.push_back({len, std::string(data, len > 0 ? len : 0), getRemoteIP(), getRemotePort()});
            gate = m_gate;
            m_gate = std::shared_future<void>();
            m_cond.notify_all();
        }
        if (gate.valid()) {
            gate.wait_for(kDeadline);
        }
        return 0;
    }

    int onClosed() override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_iClosed;
        m_cond.notify_all();
        return 0;
    }

    void setGate(std::shared_future<void> gate)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_gate = gate;
    }

    bool waitForReads(size_t count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cond.wait_for(lock, kDeadline, [&] { return m_vecReads.size() >= count; });
    }

    bool waitForClosed()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cond.wait_for(lock, kDeadline, [&] { return m_iClosed > 0; });
    }

    std::vector<TRead> reads()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_vecReads;
    }

    int closed()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_iClosed;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    std::vector<TRead> m_vecReads;
    int m_iClosed = 0;
    std::shared_future<void> m_gate;
};

// A listening TCP handle that gives every accepted connection a recording
// handle and keeps a reference for the test.
class CListeningHandle : public CIpcHandleBase {
public:
    std::shared_ptr<CIpcHandleBase> onConnected() override
    {
        auto connection = std::make_shared<CRecordingHandle>();
        connection->setName("accepted");
        std::lock_guard<std::mutex> lock(m_mutex);
        m_vecConnections.push_back(connection);
        m_cond.notify_all();
        return connection;
    }

    std::shared_ptr<CRecordingHandle> waitForConnection()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (!m_cond.wait_for(lock, kDeadline, [&] { return !m_vecConnections.empty(); })) {
            return nullptr;
        }
        return m_vecConnections.front();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cond;
    std::vector<std::shared_ptr<CRecordingHandle>> m_vecConnections;
};

void logToTempDir()
{
    static TempDir dir;
    CKsLog::CLogConfig config;
    config.m_strLogFilePath = dir.file("ipc.log");
    config.m_iLogLevel = E_LOG_LEVEL_DEBUG;
    CKsLog::getInstance()->addLogConfig(&config);
    CKsLog::getInstance()->reInit();
}

class IpcFrameworkTest : public testing::Test {
protected:
    // The framework and its loop live for the process: set up once.
    static void SetUpTestSuite()
    {
        static bool done = [] {
            logToTempDir();
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

    static sockaddr_in loopback(uint16_t port)
    {
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(port);
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return addr;
    }

    // A plain UDP socket bound to an ephemeral loopback port, closed by the
    // fixture; receives time out after kQuietMs.
    int plainUdpSocket()
    {
        const int fd = socket(AF_INET, SOCK_DGRAM, 0);
        sockaddr_in addr = loopback(0);
        bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr));
        timeval timeout = {0, kQuietMs * 1000};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
        m_vecOwnFds.push_back(fd);
        return fd;
    }

    int plainTcpClient(uint16_t port)
    {
        const int fd = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr = loopback(port);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)), 0);
        timeval timeout = {0, kQuietMs * 1000};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
        m_vecOwnFds.push_back(fd);
        return fd;
    }

    static void sendTo(int fd, uint16_t port, const std::string& data)
    {
        sockaddr_in addr = loopback(port);
        ASSERT_EQ(sendto(fd, data.data(), data.size(), 0, reinterpret_cast<sockaddr*>(&addr), sizeof(addr)),
                  static_cast<ssize_t>(data.size()));
    }

    // A UDP server of the framework on an ephemeral loopback port.
    std::shared_ptr<CRecordingHandle> udpServer(uint16_t& port)
    {
        auto handle = std::make_shared<CRecordingHandle>();
        handle->setName("server");
        EXPECT_EQ(framework()->createUDPServer("127.0.0.1", 0, handle), 0);
        port = boundPort(handle->getHandle());
        return handle;
    }

    void TearDown() override
    {
        for (int fd : m_vecOwnFds) {
            close(fd);
        }
    }

    std::vector<int> m_vecOwnFds;
};

TEST_F(IpcFrameworkTest, UdpServerDeliversEachDatagramWithItsSender)
{
    auto handle = std::make_shared<CRecordingHandle>();
    handle->setName("server");
    testing::internal::CaptureStdout();
    ASSERT_EQ(framework()->createUDPServer("127.0.0.1", 0, handle), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    const int fd = handle->getHandle();
    EXPECT_THAT(out, HasSubstr("create Udp server: 127.0.0.1 : 0, sockfd = " + std::to_string(fd) + "\n"));
    EXPECT_THAT(out, HasSubstr("Add an epoll event success, name:server, handle:" + std::to_string(fd)));
    EXPECT_EQ(handle->getIpcType(), E_IPC_TYPE_UDP);
    EXPECT_EQ(handle->getLocalIP(), "127.0.0.1");
    EXPECT_EQ(framework()->getHandleBase(fd), handle);

    const int peer = plainUdpSocket();
    sendTo(peer, boundPort(fd), "abc");
    sendTo(peer, boundPort(fd), "");
    ASSERT_TRUE(handle->waitForReads(2));
    const std::vector<TRead> reads = handle->reads();
    EXPECT_EQ(reads[0].m_iLen, 3);
    EXPECT_EQ(reads[0].m_strData, "abc");
    EXPECT_EQ(reads[0].m_strIP, "127.0.0.1");
    EXPECT_EQ(reads[0].m_iPort, boundPort(peer));
    EXPECT_EQ(reads[1].m_iLen, 0);
    EXPECT_EQ(handle->getRemotePort(), boundPort(peer));
}

TEST_F(IpcFrameworkTest, LongDatagramIsCutTo4096Bytes)
{
    uint16_t port = 0;
    auto handle = udpServer(port);
    std::string data(5000, '\0');
    for (size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<char>(i % 251);
    }
    sendTo(plainUdpSocket(), port, data);
    ASSERT_TRUE(handle->waitForReads(1));
    const TRead read = handle->reads()[0];
    EXPECT_EQ(read.m_iLen, 4096);
    EXPECT_EQ(read.m_strData, data.substr(0, 4096));
}

TEST_F(IpcFrameworkTest, QueuedDatagramsAreReadOneByOne)
{
    uint16_t port = 0;
    auto handle = udpServer(port);
    std::promise<void> open;
    handle->setGate(open.get_future().share());
    const int peer = plainUdpSocket();

    // The first read holds the loop while two more datagrams queue up.
    sendTo(peer, port, "first");
    ASSERT_TRUE(handle->waitForReads(1));
    sendTo(peer, port, "second");
    sendTo(peer, port, "third");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    open.set_value();

    ASSERT_TRUE(handle->waitForReads(3));
    std::this_thread::sleep_for(std::chrono::milliseconds(kQuietMs));
    const std::vector<TRead> reads = handle->reads();
    ASSERT_EQ(reads.size(), 3u);
    EXPECT_EQ(reads[1].m_strData, "second");
    EXPECT_EQ(reads[2].m_strData, "third");
}

TEST_F(IpcFrameworkTest, UdpClientWithoutLocalPortSendsFromAnEphemeralPortAndIsNeverRegistered)
{
    uint16_t port = 0;
    auto server = udpServer(port);
    auto client = std::make_shared<CIpcHandleBase>();
    testing::internal::CaptureStdout();
    ASSERT_EQ(framework()->createUDPClient("127.0.0.1", port, client, "", 0), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    const int fd = client->getHandle();
    EXPECT_THAT(out, HasSubstr("create Udp client: localhost --> 127.0.0.1:" + std::to_string(port) +
                               ", sockfd = " + std::to_string(fd) + "\n"));
    EXPECT_THAT(out, HasSubstr("Create udp client success, remote ip:127.0.0.1, remote port:" +
                               std::to_string(port) + ", fd:" + std::to_string(fd)));
    EXPECT_EQ(client->getIpcType(), E_IPC_TYPE_UDP_Client);
    EXPECT_EQ(client->getRemotePort(), port);
    EXPECT_EQ(framework()->getHandleBase(fd), nullptr);

    EXPECT_EQ(client->sendData("hello", 5), 0);
    std::string text = "again";
    CIpcHandleWrapper wrapper(client);
    EXPECT_EQ(wrapper.sendData(text), 0);
    ASSERT_TRUE(server->waitForReads(2));
    const std::vector<TRead> reads = server->reads();
    EXPECT_EQ(reads[0].m_strData, "hello");
    EXPECT_EQ(reads[1].m_strData, "again");
    EXPECT_NE(reads[0].m_iPort, 0);
    EXPECT_EQ(reads[0].m_iPort, boundPort(fd));
    close(fd);
}

TEST_F(IpcFrameworkTest, UdpClientWithLocalPortSendsFromThatPort)
{
    uint16_t port = 0;
    auto server = udpServer(port);
    // A port that was free a moment ago.
    const int probe = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in any = loopback(0);
    bind(probe, reinterpret_cast<sockaddr*>(&any), sizeof(any));
    const uint16_t local = boundPort(probe);
    close(probe);

    auto client = std::make_shared<CIpcHandleBase>();
    testing::internal::CaptureStdout();
    ASSERT_EQ(framework()->createUDPClient("127.0.0.1", port, client, "127.0.0.1", local), 0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_THAT(out, HasSubstr("create Udp client: 127.0.0.1:" + std::to_string(local) + " --> 127.0.0.1:" +
                               std::to_string(port) + ", sockfd = " + std::to_string(client->getHandle()) + "\n"));
    EXPECT_EQ(framework()->getHandleBase(client->getHandle()), nullptr);

    EXPECT_EQ(client->sendData("x", 1), 0);
    ASSERT_TRUE(server->waitForReads(1));
    EXPECT_EQ(server->reads()[0].m_iPort, local);
    close(client->getHandle());
}

TEST_F(IpcFrameworkTest, SecondHandleOnARegisteredDescriptorIsRefused)
{
    uint16_t port = 0;
    auto first = udpServer(port);
    auto second = std::make_shared<CRecordingHandle>();
    second->setName("intruder");
    second->setHandle(first->getHandle());
    second->setIpcType(E_IPC_TYPE_UDP);
    testing::internal::CaptureStdout();
    const int result = framework()->registerEvent(second);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(result, -1);
    EXPECT_THAT(out, HasSubstr("Fail to add an epoll event, error:17, name:intruder"));
    // The loop still points at the first handle, and so does the map.
    EXPECT_EQ(framework()->getHandleBase(first->getHandle()), first);
    sendTo(plainUdpSocket(), port, "still first");
    ASSERT_TRUE(first->waitForReads(1));
    EXPECT_TRUE(second->reads().empty());
}

TEST_F(IpcFrameworkTest, SendOnAnUnopenedSocketFails)
{
    testing::internal::CaptureStdout();
    const int direct = framework()->sendData(E_IPC_TYPE_UDP, -1, "x", 1, "127.0.0.1", 9);
    CIpcHandleBase unopened;
    unopened.setIpcType(E_IPC_TYPE_UDP_Client);
    const int viaHandle = unopened.sendData("x", 1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(direct, -1);
    EXPECT_EQ(viaHandle, -1);
    EXPECT_THAT(out, HasSubstr("When receive data, the socket is not init."));
    EXPECT_THAT(out, HasSubstr("udp send data"));

    CIpcHandleWrapper empty;
    EXPECT_EQ(empty.sendData("x", 1), -1);
    EXPECT_EQ(empty.getHandleBase(), nullptr);
}

TEST_F(IpcFrameworkTest, TypesWithoutASendPathReportSuccessAndSendNothing)
{
    const int receiver = plainUdpSocket();
    const uint16_t port = boundPort(receiver);
    const int sender = plainUdpSocket();
    for (int type : {E_IPC_TYPE_DEFAULT, E_IPC_TYPE_SHM, E_IPC_TYPE_TCP_Client}) {
        EXPECT_EQ(framework()->sendData(type, sender, "lost", 4, "127.0.0.1", port), 0) << type;
    }
    char buf[16];
    EXPECT_EQ(recv(receiver, buf, sizeof(buf), 0), -1);

    // The same descriptor and address do work for a UDP type.
    EXPECT_EQ(framework()->sendData(E_IPC_TYPE_UDP_Client, sender, "kept", 4, "127.0.0.1", port), 0);
    ASSERT_EQ(recv(receiver, buf, sizeof(buf), 0), 4);
    EXPECT_EQ(std::string(buf, 4), "kept");
}

TEST_F(IpcFrameworkTest, UnregisteredHandleIsForgottenAndNoLongerRead)
{
    uint16_t port = 0;
    auto handle = udpServer(port);
    const int fd = handle->getHandle();
    EXPECT_EQ(framework()->unRegisterEvent(fd), 0);
    EXPECT_EQ(framework()->getHandleBase(fd), nullptr);

    sendTo(plainUdpSocket(), port, "ignored");
    std::this_thread::sleep_for(std::chrono::milliseconds(kQuietMs));
    EXPECT_TRUE(handle->reads().empty());

    testing::internal::CaptureStdout();
    const int again = framework()->unRegisterEvent(fd);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(again, -1);
    EXPECT_THAT(out, HasSubstr("unRegister handle failed"));
    close(fd);
}

TEST_F(IpcFrameworkTest, PortInUseFailsTheServer)
{
    const uint16_t taken = boundPort(plainUdpSocket());
    auto handle = std::make_shared<CRecordingHandle>();
    testing::internal::CaptureStdout();
    const int result = framework()->createUDPServer("127.0.0.1", taken, handle);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(result, -1);
    EXPECT_THAT(out, HasSubstr("error in udp bind"));
    EXPECT_THAT(out, HasSubstr("failed to create UdpServer"));
    EXPECT_EQ(handle->getHandle(), -1);
}

TEST_F(IpcFrameworkTest, TcpServerServesAcceptedConnectionsUntilTheyClose)
{
    auto listener = std::make_shared<CListeningHandle>();
    listener->setName("listener");
    ASSERT_EQ(framework()->createTCPServer("127.0.0.1", 0, listener), 0);
    EXPECT_EQ(listener->getIpcType(), E_IPC_TYPE_TCP);
    const uint16_t port = boundPort(listener->getHandle());

    const int client = plainTcpClient(port);
    ASSERT_EQ(send(client, "ping", 4, 0), 4);
    auto connection = listener->waitForConnection();
    ASSERT_NE(connection, nullptr);
    ASSERT_TRUE(connection->waitForReads(1));
    EXPECT_EQ(connection->reads()[0].m_strData, "ping");
    EXPECT_EQ(connection->getIpcType(), E_IPC_TYPE_TCP_Client);
    EXPECT_EQ(connection->getRemoteIP(), "127.0.0.1");
    EXPECT_EQ(connection->getRemotePort(), boundPort(client));
    const int connFd = connection->getHandle();
    EXPECT_EQ(framework()->getHandleBase(connFd), connection);

    // A connection's own handle sends nothing; the driver writes the stream.
    char buf[8];
    EXPECT_EQ(connection->sendData("none", 4), 0);
    EXPECT_EQ(recv(client, buf, sizeof(buf), 0), -1);
    EXPECT_EQ(CIpcTcpSocketDriver::getInstance()->sendData(connFd, "pong", 4), 0);
    ASSERT_EQ(recv(client, buf, sizeof(buf), 0), 4);
    EXPECT_EQ(std::string(buf, 4), "pong");

    close(client);
    m_vecOwnFds.pop_back();
    ASSERT_TRUE(connection->waitForClosed());
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (framework()->getHandleBase(connFd) != nullptr && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(framework()->getHandleBase(connFd), nullptr);
    EXPECT_EQ(connection->closed(), 1);
}

TEST_F(IpcFrameworkTest, TcpConnectionWithoutAHandleIsClosedAtOnce)
{
    auto listener = std::make_shared<CIpcHandleBase>();
    ASSERT_EQ(framework()->createTCPServer("127.0.0.1", 0, listener), 0);
    const int client = plainTcpClient(boundPort(listener->getHandle()));
    char buf[4];
    EXPECT_EQ(recv(client, buf, sizeof(buf), 0), 0);
}

TEST_F(IpcFrameworkTest, TcpClientConnectsAndIsNotRegistered)
{
    auto listener = std::make_shared<CListeningHandle>();
    ASSERT_EQ(framework()->createTCPServer("127.0.0.1", 0, listener), 0);
    const uint16_t port = boundPort(listener->getHandle());

    auto client = std::make_shared<CIpcHandleBase>();
    ASSERT_EQ(framework()->createTCPClient("127.0.0.1", port, client), 0);
    EXPECT_EQ(client->getIpcType(), E_IPC_TYPE_TCP_Client);
    EXPECT_EQ(client->getRemotePort(), port);
    EXPECT_EQ(framework()->getHandleBase(client->getHandle()), nullptr);
    auto connection = listener->waitForConnection();
    ASSERT_NE(connection, nullptr);

    // A large write goes out whole, in as many pieces as the stream needs.
    const std::string data(300000, 'q');
    EXPECT_EQ(CIpcTcpSocketDriver::getInstance()->sendData(client->getHandle(), data.data(),
                                                           static_cast<int>(data.size())),
              0);
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    size_t received = 0;
    while (received < data.size() && std::chrono::steady_clock::now() < end) {
        for (const TRead& read : connection->reads()) {
            received += read.m_strData.size();
        }
        if (received < data.size()) {
            received = 0;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    EXPECT_EQ(received, data.size());
    close(client->getHandle());

    // A bound socket that does not listen refuses the connection.
    const int silent = socket(AF_INET, SOCK_STREAM, 0);
    m_vecOwnFds.push_back(silent);
    sockaddr_in any = loopback(0);
    bind(silent, reinterpret_cast<sockaddr*>(&any), sizeof(any));
    auto refused = std::make_shared<CIpcHandleBase>();
    EXPECT_EQ(framework()->createTCPClient("127.0.0.1", boundPort(silent), refused), -1);
}

}
