// Gateway and logger configuration loading, and the CPU list parser.
#include <gtest/gtest.h>

#include "CpuAffinity.h"
#include "KsLog.h"
#include "LoggerConfig.h"
#include "LumbrixConfig.h"
#include "TempDir.h"

namespace {

struct LoadResult {
    int ret;
    std::string log;
};

LoadResult load(CLumbrixConfig& config, const std::string& arg)
{
    testing::internal::CaptureStdout();
    int ret = config.loadConfig(arg);
    return {ret, testing::internal::GetCapturedStdout()};
}

const char* kFull = R"({
  "serviceEntity": [
    {"enable": true, "socketType": 2, "protocolType": "xolt", "listenIp": "127.0.0.1", "listenPort": 25100},
    {"socketType": 2, "protocolType": "protobuf", "listenIp": "127.0.0.1", "listenPort": 25200},
    {"enable": false, "socketType": 2, "protocolType": "off", "listenIp": "127.0.0.1", "listenPort": 1}
  ],
  "clientEntity": [
    {"enable": true, "serviceName": "transmit", "serviceId": 2, "socketType": "udp", "remoteIp": "127.0.0.1", "remotePort": 25101},
    {"serviceName": "app", "serviceId": 0, "socketType": "udp", "remoteIp": "127.0.0.1", "remotePort": 25201,
     "localIp": "127.0.0.1", "localPort": 25202}
  ]
})";

class ConfigTest : public testing::Test {
protected:
    void SetUp() override
    {
        // Lines go to standard output (captured) and to a file of our own.
        CKsLog::CLogConfig log;
        log.m_strLogFilePath = dir.file("test.log");
        log.m_iLogLevel = 3;
        CKsLog::getInstance()->addLogConfig(&log);
        testing::internal::CaptureStdout();
        CKsLog::getInstance()->reInit();
        testing::internal::GetCapturedStdout();
    }
    TempDir dir;
};

TEST_F(ConfigTest, LoadsEnabledRecordsInFileOrderFromFileOrInlineText)
{
    const std::string path = dir.file("config.json");
    writeFile(path, kFull);
    for (const std::string& arg : {path, std::string(kFull)}) {
        CLumbrixConfig config;
        LoadResult r = load(config, arg);
        ASSERT_EQ(0, r.ret) << r.log;
        ASSERT_EQ(2u, config.getServiceEntityInfo().size());
        const CServiceEntityInfo& xolt = config.getServiceEntityInfo().front();
        EXPECT_EQ(2, xolt.m_iSocketType);
        EXPECT_EQ("xolt", xolt.m_strProtocolType);
        EXPECT_EQ("127.0.0.1", xolt.m_strListenIP);
        EXPECT_EQ(25100, xolt.m_iListenPort);
        EXPECT_EQ("protobuf", config.getServiceEntityInfo().back().m_strProtocolType);

        ASSERT_EQ(2u, config.getClientEntityInfo().size());
        const CClientEntityInfo& transmit = config.getClientEntityInfo().front();
        EXPECT_EQ("transmit", transmit.m_strServiceName);
        EXPECT_EQ(2, transmit.m_iServiceId);
        EXPECT_EQ("udp", transmit.m_strSocketType);
        EXPECT_EQ(25101, transmit.m_iRemotePort);
        EXPECT_EQ("", transmit.m_strLocalIP);
        EXPECT_EQ(-1, transmit.m_iLocalPort);
        const CClientEntityInfo& app = config.getClientEntityInfo().back();
        EXPECT_EQ("127.0.0.1", app.m_strLocalIP);
        EXPECT_EQ(25202, app.m_iLocalPort);

        // Optional keys that are missing are still reported at Error level.
        EXPECT_NE(std::string::npos, r.log.find("[Error] ConfigReader.cpp:"));
        EXPECT_NE(std::string::npos, r.log.find("When get value by key, the key is not exist. key:enable"));
        EXPECT_NE(std::string::npos, r.log.find("When get value by key, the key is not exist. key:localIp"));
        EXPECT_NE(std::string::npos, r.log.find("When get value by key, the key is not exist. key:localPort"));
    }
}

TEST_F(ConfigTest, EmptyObjectLoadsTwoEmptyLists)
{
    CLumbrixConfig config;
    EXPECT_EQ(0, load(config, "{}").ret);
    EXPECT_TRUE(config.getServiceEntityInfo().empty());
    EXPECT_TRUE(config.getClientEntityInfo().empty());
}

TEST_F(ConfigTest, RejectsEachRuleWithItsMessage)
{
    struct Case {
        const char* json;
        const char* message;
    };
    const Case cases[] = {
        {"not json at all", "Fail to load json, json:not json at all"},
        {R"({"serviceEntity": {}})", "When get array by key, the value type is invalid. key:serviceEntity"},
        {R"({"clientEntity": 3})", "When get array by key, the value type is invalid. key:clientEntity"},
        {R"({"serviceEntity": [1]})", "When get value by key, json node is not object"},
        {R"({"serviceEntity": [{"enable": 0}]})", "When get value by key, the value type is invalid. key:enable"},
        {R"({"serviceEntity": [{"socketType": 2, "protocolType": "xolt", "listenIp": "a", "listenPort": "1"}]})",
         "When get value by key, the value type is invalid. key:listenPort"},
        {R"({"serviceEntity": [{"socketType": 2, "protocolType": "xolt", "listenPort": 1}]})",
         "When get value by key, the key is not exist. key:listenIp"},
        {R"({"serviceEntity": [{"socketType": "2", "protocolType": "xolt", "listenIp": "a", "listenPort": 1}]})",
         "When get value by key, the value type is invalid. key:socketType"},
        {R"({"clientEntity": [{"serviceName": "a", "serviceId": 0, "socketType": 5, "remoteIp": "a", "remotePort": 1}]})",
         "When get value by key, the value type is invalid. key:socketType"},
        {R"({"clientEntity": [{"serviceName": "a", "serviceId": 0, "socketType": "udp", "remoteIp": "a", "remotePort": 1, "localPort": "x"}]})",
         "When get value by key, the value type is invalid. key:localPort"},
        {R"({"clientEntity": [{"serviceName": "a", "socketType": "udp", "remoteIp": "a", "remotePort": 1}]})",
         "When get value by key, the key is not exist. key:serviceId"},
    };
    for (const Case& c : cases) {
        CLumbrixConfig config;
        LoadResult r = load(config, c.json);
        EXPECT_EQ(-1, r.ret) << c.json;
        EXPECT_NE(std::string::npos, r.log.find(c.message)) << c.json << "\n" << r.log;
    }
}

TEST_F(ConfigTest, IntegerKeysKeepTheLow32Bits)
{
    CLumbrixConfig config;
    LoadResult r = load(config, R"({"serviceEntity": [{"socketType": 4294967298, "protocolType": "x", "listenIp": "a", "listenPort": 4294967295}]})");
    ASSERT_EQ(0, r.ret) << r.log;
    EXPECT_EQ(2, config.getServiceEntityInfo().front().m_iSocketType);
    EXPECT_EQ(-1, config.getServiceEntityInfo().front().m_iListenPort);
}

TEST_F(ConfigTest, LoggerKeysDefaultWhenMissing)
{
    const std::string json = R"({"log": {"file": ")" + dir.file("d.log") + R"("}})";
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, initLogger(json.c_str()));
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(2, CKsLog::getLogLevel());
    EXPECT_NE(std::string::npos, out.find("KSLog: file mode: 0"));
    EXPECT_NE(std::string::npos, out.find("KSLog: file path: /tmp/SD0/aiLog/"));
    for (const char* key : {"level", "fileCnt", "logMode", "logExternalEnable", "logExternalPath",
                            "logExternalImagePath", "logTransmitUrl", "fileSize", "totalSize", "minFileCnt"}) {
        EXPECT_NE(std::string::npos, out.find(std::string("When get value by key, the key is not exist. key:") + key)) << key;
    }
}

TEST_F(ConfigTest, LoggerReadsItsKeysAndWritesToTheConfiguredFile)
{
    const std::string file = dir.file("gw.log");
    const std::string json = R"({"log": {"level": "Warn", "file": ")" + file + R"(", "logMode": 1, "totalSize": 100, "minFileCnt": 2, "logExternalPath": ")" +
                             dir.path() + R"(/nocard/"}})";
    testing::internal::CaptureStdout();
    EXPECT_EQ(0, initLogger(json.c_str()));
    KS_LOG_WARN("warn line");
    KS_LOG_INFO("info line");
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(1, CKsLog::getLogLevel());
    EXPECT_NE(std::string::npos, out.find("------------------file: " + file));
    EXPECT_NE(std::string::npos, out.find("KSLog: mnt"));
    EXPECT_NE(std::string::npos, out.find("KSLog: file mode: 1"));
    EXPECT_NE(std::string::npos, out.find("KSLog: file path: " + dir.path() + "/nocard/"));
    EXPECT_NE(std::string::npos, out.find("When get value by key, the key is not exist. key:fileCnt"));
    EXPECT_NE(std::string::npos, out.find("warn line"));
    EXPECT_EQ(std::string::npos, out.find("info line"));
    CKsLog::getInstance()->reInit();  // closes (and so flushes) the file
    EXPECT_NE(std::string::npos, readFile(file).find("] [Warn] ConfigTest.cpp:"));
}

TEST_F(ConfigTest, LoggerRejectsWrongTypesAndLeavesLevelAlone)
{
    CKsLog::setLogLevel(3);
    struct Case {
        const char* json;
        const char* message;
    };
    const Case cases[] = {
        {R"({"log": {"level": 2}})", "When get value by key, the value type is invalid. key:level"},
        {R"({"log": []})", "When get object by key, the value type is invalid. key:log"},
        {R"({"log": {"fileCnt": "8"}})", "When get value by key, the value type is invalid. key:fileCnt"},
        {R"({"log": {"logExternalEnable": 1}})", "When get value by key, the value type is invalid. key:logExternalEnable"},
        {"{broken", "Fail to load json, json:{broken"},
    };
    for (const Case& c : cases) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(-1, initLogger(c.json)) << c.json;
        std::string out = testing::internal::GetCapturedStdout();
        EXPECT_NE(std::string::npos, out.find(c.message)) << c.json << "\n" << out;
        EXPECT_EQ(3, CKsLog::getLogLevel());
    }
}

TEST(CpuAffinityTest, MaskWrapsAt32AndSignExtends)
{
    EXPECT_EQ(11u, CCpuAffinity::parseCpuMask("0,1,3"));
    EXPECT_EQ(0u, CCpuAffinity::parseCpuMask("-1"));
    EXPECT_EQ(4u, CCpuAffinity::parseCpuMask("-1,2"));
    EXPECT_EQ(18446744071562067968ull, CCpuAffinity::parseCpuMask("31"));
    EXPECT_EQ(1u, CCpuAffinity::parseCpuMask("32"));
    EXPECT_EQ(2u, CCpuAffinity::parseCpuMask("33"));
    EXPECT_EQ(1u, CCpuAffinity::parseCpuMask(""));
    EXPECT_EQ(1u, CCpuAffinity::parseCpuMask(","));
    EXPECT_EQ(4u, CCpuAffinity::parseCpuMask("2x"));
    EXPECT_EQ("taskset -p 11 4711", CCpuAffinity::tasksetCommand(11, 4711));
}

} // namespace
