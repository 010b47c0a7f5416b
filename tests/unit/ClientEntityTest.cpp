// Client entities and their manager: slots by service id, replacement, and
// the UDP client after stop.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ClientBase.h"
#include "ClientEntityManager.h"
#include "IpcDriverManager.h"
#include "TestLog.h"
#include "UdpClient.h"
#include "UdpPeer.h"

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

    // Sends "x" to serviceId, expects a failure, and returns what was printed.
    static std::string failedSendTo(int serviceId)
    {
        return captureStdout([&] { EXPECT_EQ(-1, manager()->sendData(serviceId, 1, "x")) << serviceId; });
    }

    TempDir m_dir;
};

TEST_F(ClientEntityTest, SendingToAnIdWithoutClientLogsAndFails)
{
    for (int id : {4, -1, 1}) {
        const std::string out = failedSendTo(id);
        EXPECT_NE(std::string::npos, out.find("[Error] ClientEntityManager.cpp:")) << out;
        EXPECT_NE(std::string::npos,
                  out.find("When send data to service[" + std::to_string(id) + "], the service is not exist."))
            << out;
    }
}

TEST_F(ClientEntityTest, ClientIsFoundByItsServiceIdAndALaterOneReplacesIt)
{
    auto first = std::make_shared<CRecordingClient>(3);
    auto second = std::make_shared<CRecordingClient>(3);
    auto app = std::make_shared<CRecordingClient>(0);
    manager()->addClientEntity(first);
    manager()->addClientEntity(app);
    EXPECT_EQ(0, manager()->sendData(3, 3, "one"));
    manager()->addClientEntity(second);
    EXPECT_EQ(0, manager()->sendData(3, 3, "two"));
    EXPECT_EQ(0, manager()->sendData(0, 3, "app"));

    EXPECT_EQ(std::vector<std::string>{"one"}, first->m_vecSent);
    EXPECT_EQ(std::vector<std::string>{"two"}, second->m_vecSent);
    EXPECT_EQ(std::vector<std::string>{"app"}, app->m_vecSent);
}

TEST_F(ClientEntityTest, ClientsWithoutASlotAreIgnoredSilently)
{
    const std::string out = captureStdout([] {
        for (int id : {7, 4, -1}) {
            manager()->addClientEntity(std::make_shared<CRecordingClient>(id));
        }
        manager()->addClientEntity(nullptr);
    });
    EXPECT_EQ("", out);
    for (int id : {7, 4, -1}) {
        failedSendTo(id);
    }
}

TEST_F(ClientEntityTest, UdpClientSendsNothingOnceStopped)
{
    UdpPeer peer;
    CClientEntityInfo info;
    info.m_iServiceId = E_SERVICE_ID_APP;
    info.m_strRemoteIP = "127.0.0.1";
    info.m_iRemotePort = peer.port();
    std::shared_ptr<ICClientBase> client(static_cast<ICClientBase*>(CUdpClient::create()));
    captureStdout([&] { EXPECT_EQ(0, client->start(info)); });
    manager()->addClientEntity(client);
    EXPECT_EQ(0, manager()->sendData(E_SERVICE_ID_APP, 5, "first"));
    std::string datagram;
    ASSERT_TRUE(peer.receive(datagram, 2000));
    EXPECT_EQ("first", datagram);

    EXPECT_EQ(0, client->stop());
    const std::string out = failedSendTo(E_SERVICE_ID_APP);
    EXPECT_NE(std::string::npos, out.find("When send udp data to remote service, the udp client is not exist."))
        << out;
    EXPECT_FALSE(peer.receive(datagram, 50));
}

} // namespace
