// Client entities and their manager: slots by service id, replacement, and
// the UDP client after stop.
#include "dataAccess/client/ClientBase.h"
#include "dataAccess/client/ClientEntityManager.h"
#include "common/ipc/ipcDriver/IpcDriverManager.h"
#include "dataAccess/client/UdpClient.h"
#include "kit/UdpPeer.h"
#include "UnitTest.h"

namespace {

// Records what it is asked to send.
class CRecordingClient : public ICClientBase {
public:
    explicit CRecordingClient(int serviceId) { m_iServiceId = serviceId; }
    int start(const CClientEntityInfo&) override { return 0; }
    int stop() override { return 0; }
    int sendData(int len, const char* data) override
    {
        m_vecSent.emplace_back(data, static_cast<size_t>(len));
        return 0;
    }
    std::vector<std::string> m_vecSent;
};

class ClientEntityTest : public testing::Test {
protected:
    void SetUp() override
    {
        useTestLog(m_dir);
        // The drivers that send, as the framework's start-up fills them in.
        CIpcDriverManager::getInstance()->init();
        ASSERT_EQ(0, manager()->init());
    }

    void TearDown() override { CClientEntityManager::destroy(); }

    static CClientEntityManager* manager() { return CClientEntityManager::getInstance(); }

    // Sends text to serviceId; returns the result and what was printed.
    static std::pair<int, std::string> sendTo(int serviceId, const std::string& text)
    {
        int result = 0;
        const std::string out =
            captureStdout([&] { result = manager()->sendData(serviceId, static_cast<int>(text.size()), text.data()); });
        return {result, out};
    }

    CTempDir m_dir;
};

// Slots 0 to 3; a client outside them is ignored without a line, and a
// send to an empty slot fails with one.
TEST_F(ClientEntityTest, ClientIsFoundByItsServiceIdAndALaterOneReplacesIt)
{
    auto first = std::make_shared<CRecordingClient>(3);
    auto app = std::make_shared<CRecordingClient>(0);
    auto second = std::make_shared<CRecordingClient>(3);
    const std::string out = captureStdout([&] {
        for (int id : {7, 4, -1}) {
            manager()->addClientEntity(std::make_shared<CRecordingClient>(id));
        }
        manager()->addClientEntity(nullptr);
        manager()->addClientEntity(first);
        manager()->addClientEntity(app);
    });
    EXPECT_EQ("", out);
    EXPECT_EQ(0, sendTo(3, "one").first);
    manager()->addClientEntity(second);
    const struct {
        int m_iServiceId;
        std::string m_strText;
        int m_iResult;
    } sends[] = {{3, "two", 0}, {0, "app", 0}, {4, "x", -1}, {-1, "x", -1}, {1, "x", -1}, {7, "x", -1}};
    for (const auto& s : sends) {
        const auto sent = sendTo(s.m_iServiceId, s.m_strText);
        EXPECT_EQ(s.m_iResult, sent.first) << s.m_iServiceId;
        const std::string line =
            "When send data to service[" + std::to_string(s.m_iServiceId) + "], the service is not exist.";
        EXPECT_EQ(s.m_iResult != 0, sent.second.find("[Error] ClientEntityManager.cpp:") != std::string::npos);
        EXPECT_EQ(s.m_iResult != 0, sent.second.find(line) != std::string::npos) << sent.second;
    }
    EXPECT_EQ(std::vector<std::string>{"one"}, first->m_vecSent);
    EXPECT_EQ(std::vector<std::string>{"two"}, second->m_vecSent);
    EXPECT_EQ(std::vector<std::string>{"app"}, app->m_vecSent);
}

TEST_F(ClientEntityTest, UdpClientSendsNothingOnceStopped)
{
    CUdpPeer peer{0};
    CClientEntityInfo info;
    info.m_iServiceId = E_SERVICE_ID_APP;
    info.m_strRemoteIP = "127.0.0.1";
    info.m_iRemotePort = peer.port();
    std::shared_ptr<ICClientBase> client(static_cast<ICClientBase*>(CUdpClient::create()));
    captureStdout([&] { EXPECT_EQ(0, client->start(info)); });
    manager()->addClientEntity(client);
    EXPECT_EQ(0, sendTo(E_SERVICE_ID_APP, "first").first);
    std::string datagram;
    ASSERT_TRUE(peer.receive(datagram, 2000));
    EXPECT_EQ("first", datagram);

    EXPECT_EQ(0, client->stop());
    const auto sent = sendTo(E_SERVICE_ID_APP, "second");
    EXPECT_EQ(-1, sent.first);
    EXPECT_NE(std::string::npos, sent.second.find("When send udp data to remote service, the udp client is not exist."))
        << sent.second;
    EXPECT_FALSE(peer.receive(datagram, 50));
}

} // namespace
