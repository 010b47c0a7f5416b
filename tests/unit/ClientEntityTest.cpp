// Client entities and their manager: slots by service id, replacement, and
// the UDP client's datagrams.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ClientBase.h"
#include "ClientEntityManager.h"
#include "KsLog.h"
#include "Reflex.h"
#include "TempDir.h"
#include "UdpClient.h"
#include "UdpPeer.h"

namespace {

// Records what it is asked to send; its service id comes from start().
class CRecordingClient : public ICClientBase {
public:
    explicit CRecordingClient(int serviceId)
    {
        CClientEntityInfo info;
        info.m_iServiceId = serviceId;
        start(info);
    }
    int start(const CClientEntityInfo& info) override
    {
        m_iServiceId = info.m_iServiceId;
        return 0;
    }
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
        CKsLog::CLogConfig log;
        log.m_strLogFilePath = m_dir.file("test.log");
        log.m_iLogLevel = E_LOG_LEVEL_DEBUG;
        CKsLog::getInstance()->addLogConfig(&log);
        output([] { CKsLog::getInstance()->reInit(); });
        ASSERT_EQ(0, manager()->init());
    }

    void TearDown() override { CClientEntityManager::destroy(); }

    static CClientEntityManager* manager() { return CClientEntityManager::getInstance(); }

    template <typename F>
    static std::string output(F call)
    {
        testing::internal::CaptureStdout();
        call();
        return testing::internal::GetCapturedStdout();
    }

    // Sends "x" to serviceId and returns the result and what was printed.
    static std::pair<int, std::string> sendTo(int serviceId)
    {
        int result = 0;
        std::string out = output([&] { result = manager()->sendData(serviceId, 1, "x"); });
        return {result, out};
    }

    TempDir m_dir;
};

TEST_F(ClientEntityTest, SendingToAnIdWithoutClientLogsAndFails)
{
    for (int id : {4, -1, 1}) {
        std::pair<int, std::string> r = sendTo(id);
        EXPECT_EQ(-1, r.first) << id;
        EXPECT_NE(std::string::npos, r.second.find("[Error] ClientEntityManager.cpp:")) << r.second;
        EXPECT_NE(std::string::npos,
                  r.second.find("When send data to service[" + std::to_string(id) + "], the service is not exist."))
            << r.second;
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
    const std::string out = output([] {
        manager()->addClientEntity(std::make_shared<CRecordingClient>(7));
        manager()->addClientEntity(std::make_shared<CRecordingClient>(4));
        manager()->addClientEntity(std::make_shared<CRecordingClient>(-1));
        manager()->addClientEntity(nullptr);
    });
    EXPECT_EQ("", out);
    for (int id : {7, 4, -1}) {
        EXPECT_EQ(-1, sendTo(id).first) << id;
    }
}

TEST_F(ClientEntityTest, UdpClientSendsOneDatagramPerMessageUntilStopped)
{
    UdpPeer peer;
    CClientEntityInfo info;
    info.m_strServiceName = "app";
    info.m_iServiceId = E_SERVICE_ID_APP;
    info.m_strSocketType = "udp";
    info.m_strRemoteIP = "127.0.0.1";
    info.m_iRemotePort = peer.port();
    info.m_strLocalIP = "127.0.0.1";
    info.m_iLocalPort = 1; // not honoured: the kernel picks the source port

    FuncCreator creator = CReflex<ICClientBase>::findCreator("Client.udp");
    ASSERT_EQ(&CUdpClient::create, creator);
    std::shared_ptr<ICClientBase> client(static_cast<ICClientBase*>(creator()));
    std::string out;
    out = output([&] { EXPECT_EQ(0, client->start(info)); });
    EXPECT_NE(std::string::npos, out.find("create Udp client: localhost --> ")) << out;
    EXPECT_NE(std::string::npos, out.find("[Info] UdpClient.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find("Create udp client success, remote ip:127.0.0.1, remote port:" +
                                          std::to_string(peer.port())))
        << out;
    EXPECT_EQ(E_SERVICE_ID_APP, client->getServiceId());
    manager()->addClientEntity(client);

    EXPECT_EQ(0, manager()->sendData(E_SERVICE_ID_APP, 5, "first"));
    EXPECT_EQ(0, manager()->sendData(E_SERVICE_ID_APP, 6, "second"));
    std::string datagram;
    ASSERT_TRUE(peer.receive(datagram, 2000));
    EXPECT_EQ("first", datagram);
    ASSERT_TRUE(peer.receive(datagram, 2000));
    EXPECT_EQ("second", datagram);

    EXPECT_EQ(0, client->stop());
    std::pair<int, std::string> r = sendTo(E_SERVICE_ID_APP);
    EXPECT_EQ(-1, r.first);
    EXPECT_NE(std::string::npos, r.second.find("When send udp data to remote service, the udp client is not exist."))
        << r.second;
    EXPECT_FALSE(peer.receive(datagram, 50));
}

} // namespace
