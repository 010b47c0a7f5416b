// Gateway and logger configuration loading, and the CPU list parser: one
// table each of what goes in and what is loaded, printed or refused.
#include "main/CpuAffinity.h"
#include "common/core/KsLog.h"
#include "framework/LoggerConfig.h"
#include "framework/LumbrixConfig.h"
#include "framework/RecorderConfig.h"
#include "UnitTest.h"

namespace {

const std::string kMissing = "When get value by key, the key is not exist. key:";
const std::string kInvalid = "When get value by key, the value type is invalid. key:";

// The lines of a row that must be printed, " | " between them; %M and %I
// stand for the missing and the invalid key's message.
std::vector<std::string> printedLines(const std::string& text)
{
    return partsOf(replaced(replaced(text, "%M", kMissing), "%I", kInvalid));
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
const char* kFullLoaded =
    "S 2 xolt 127.0.0.1:25100; S 2 protobuf 127.0.0.1:25200; "
    "C transmit 2 udp 127.0.0.1:25101 from :-1; C app 0 udp 127.0.0.1:25201 from 127.0.0.1:25202; ";

// The loaded records, one "S" per service and one "C" per client.
std::string loaded(CLumbrixConfig& config)
{
    std::ostringstream out;
    for (const CServiceEntityInfo& s : config.getServiceEntityInfo()) {
        out << "S " << s.m_iSocketType << " " << s.m_strProtocolType << " " << s.m_strListenIP << ":" << s.m_iListenPort
            << "; ";
    }
    for (const CClientEntityInfo& c : config.getClientEntityInfo()) {
        out << "C " << c.m_strServiceName << " " << c.m_iServiceId << " " << c.m_strSocketType << " " << c.m_strRemoteIP
            << ":" << c.m_iRemotePort << " from " << c.m_strLocalIP << ":" << c.m_iLocalPort << "; ";
    }
    return out.str();
}

class ConfigTest : public testing::Test {
protected:
    void SetUp() override { useTestLog(m_dir, E_LOG_LEVEL_DEBUG); }
    CTempDir m_dir;
};

TEST_F(ConfigTest, GatewayRecordsAreLoadedInFileOrderOrRefusedWithTheirMessage)
{
    const std::string file = m_dir.file("config.json");
    writeFile(file, kFull);
    const struct {
        std::string m_strInput; // a file name or the JSON text
        int m_iResult;
        std::string m_strLoaded;
        std::string m_strPrinted;
    } cases[] = {
        {file, 0, kFullLoaded, "[Error] ConfigReader.cpp:"},
        // Optional keys that are missing are still reported at Error level.
        {kFull, 0, kFullLoaded, kMissing + "localPort"},
        {kFull, 0, kFullLoaded, kMissing + "enable"},
        {"{}", 0, "", ""},
        // Integers keep their low 32 bits, whatever their size.
        {R"({"serviceEntity": [{"socketType": 4294967298, "protocolType": "x", "listenIp": "a", "listenPort": 4294967295}]})",
         0, "S 2 x a:-1; ", ""},
        {R"({"serviceEntity": [{"socketType": 18446744073709551615, "protocolType": "x", "listenIp": "a", "listenPort": 9223372036854775807}]})",
         0, "S -1 x a:-1; ", ""},
        {"not json at all", -1, "", "Fail to load json, json:not json at all"},
        {R"({"serviceEntity": {}})", -1, "", "When get array by key, the value type is invalid. key:serviceEntity"},
        {R"({"clientEntity": 3})", -1, "", "When get array by key, the value type is invalid. key:clientEntity"},
        {R"({"serviceEntity": [1]})", -1, "", "When get value by key, json node is not object"},
        {R"({"serviceEntity": [{"enable": 0}]})", -1, "", kInvalid + "enable"},
        {R"({"serviceEntity": [{"enable": null}]})", -1, "", kInvalid + "enable"},
        {R"({"serviceEntity": [{"socketType": 3.5, "protocolType": "xolt", "listenIp": "a", "listenPort": 1}]})", -1,
         "", kInvalid + "socketType"},
        {R"({"serviceEntity": [{"socketType": true, "protocolType": "xolt", "listenIp": "a", "listenPort": 1}]})", -1,
         "", kInvalid + "socketType"},
        {R"({"serviceEntity": [{"socketType": 2, "protocolType": "xolt", "listenIp": "a", "listenPort": "1"}]})", -1,
         "", kInvalid + "listenPort"},
        {R"({"serviceEntity": [{"socketType": 2, "protocolType": "xolt", "listenPort": 1}]})", -1, "",
         kMissing + "listenIp"},
        {R"({"serviceEntity": [{"socketType": "2", "protocolType": "xolt", "listenIp": "a", "listenPort": 1}]})", -1,
         "", kInvalid + "socketType"},
        {R"({"clientEntity": [{"serviceName": "a", "serviceId": 0, "socketType": 5, "remoteIp": "a", "remotePort": 1}]})",
         -1, "", kInvalid + "socketType"},
        {R"({"clientEntity": [{"serviceName": "a", "serviceId": 0, "socketType": "udp", "remoteIp": "a", "remotePort": 1, "localPort": "x"}]})",
         -1, "", kInvalid + "localPort"},
        {R"({"clientEntity": [{"serviceName": "a", "socketType": "udp", "remoteIp": "a", "remotePort": 1}]})", -1, "",
         kMissing + "serviceId"},
    };
    for (const auto& c : cases) {
        CLumbrixConfig config;
        int result = 0;
        const std::string printed = captureStdout([&] { result = config.loadConfig(c.m_strInput); });
        EXPECT_EQ(c.m_iResult, result) << c.m_strInput;
        EXPECT_EQ(c.m_strLoaded, loaded(config)) << c.m_strInput;
        EXPECT_NE(std::string::npos, printed.find(c.m_strPrinted)) << c.m_strInput << "\n" << printed;
    }
}

// A failed configuration leaves the level as it was (3); "%D" stands for
// the test's directory. After a good one, lines go to the configured file.
TEST_F(ConfigTest, LoggerKeysAreReadWithTheirDefaultsOrRefused)
{
    const struct {
        std::string m_strJson;
        int m_iResult, m_iLevel;
        std::string m_strFile, m_strPrinted;
    } cases[] = {
        {R"({"log": {"file": "%D/a.log"}})", 0, E_LOG_LEVEL_INFO, "%D/a.log",
         "KSLog: file mode: 0 | KSLog: file path: /tmp/SD0/aiLog/ | %Mlevel | %MminFileCnt"},
        {R"({"log": {"level": "Warn", "file": "%D/b.log", "logMode": 1, "totalSize": 100, "minFileCnt": 2,
                     "logExternalPath": "%D/nocard/"}})",
         0, E_LOG_LEVEL_WARN, "%D/b.log",
         "------------------file: %D/b.log | KSLog: mnt | KSLog: file mode: 1 | KSLog: file path: %D/nocard/ | "
         "%MfileCnt"},
        // An unknown level name is Info.
        {R"({"log": {"level": "Loud", "file": "%D/c.log"}})", 0, E_LOG_LEVEL_INFO, "%D/c.log", ""},
        {R"({"log": {"level": 2}})", -1, 3, "", "%Ilevel"},
        {R"({"log": []})", -1, 3, "",
         "[Error] LoggerConfig.cpp: | When get object by key, the value type is invalid. key:log"},
        {R"({"log": {"fileCnt": "8"}})", -1, 3, "", "%IfileCnt"},
        {R"({"log": {"logExternalEnable": 1}})", -1, 3, "", "%IlogExternalEnable"},
        {R"({"log": {"minFileCnt": true}})", -1, 3, "", "%IminFileCnt"},
        {"{broken", -1, 3, "", "Fail to load json, json:{broken"},
    };
    const auto withDir = [this](const std::string& text) { return replaced(text, "%D", m_dir.path()); };
    for (const auto& c : cases) {
        const std::string json = withDir(c.m_strJson);
        CKsLog::setLogLevel(3);
        int result = 0;
        int level = 0;
        const std::string printed = captureStdout([&] {
            result = initLogger(json.c_str());
            level = CKsLog::getLogLevel();
            KS_LOG_WARN("after " << json);
            CKsLog::getInstance()->reInit(); // closes (and so flushes) the file
        });
        EXPECT_EQ(c.m_iResult, result) << json;
        EXPECT_EQ(c.m_iLevel, level) << json;
        if (!c.m_strFile.empty()) {
            EXPECT_NE(std::string::npos, readFile(withDir(c.m_strFile)).find("] [Warn] ConfigTest.cpp:")) << json;
        }
        for (const std::string& line : printedLines(withDir(c.m_strPrinted))) {
            EXPECT_NE(std::string::npos, printed.find(line)) << json << "\n" << printed;
        }
    }
}

// "record" and "stats" follow the rules of "log", except that a wrong type
// leaves only that feature off; "%L" is the live log file's directory.
TEST_F(ConfigTest, RecordAndStatsKeysAreReadLikeTheLogObjectsOrLeaveTheirFeatureOff)
{
    const struct {
        std::string m_strJson, m_strLoaded, m_strPrinted; // nothing printed: nothing at all
    } cases[] = {
        {R"({"log": {}})", "record 0 %L/lumbrix.pcap 8388608x4, stats 0", ""},
        {R"({"record": {"enable": true}, "stats": {"interval": 60}})", "record 1 %L/lumbrix.pcap 8388608x4, stats 60",
         "%Mfile | %MfileSize | %MfileCnt"},
        {R"({"record": {"enable": true, "file": "/r.pcap", "fileSize": 1000, "fileCnt": 1}})",
         "record 1 /r.pcap 1000x2, stats 0", ""},
        {R"({"record": {"enable": true, "fileSize": "1000"}, "stats": {"interval": 5}})",
         "record 0 %L/lumbrix.pcap 8388608x4, stats 5", "%IfileSize"},
        {R"({"record": {"enable": 1}})", "record 0 %L/lumbrix.pcap 8388608x4, stats 0", "%Ienable"},
        {R"({"record": true, "stats": {}})", "record 0 %L/lumbrix.pcap 8388608x4, stats 0",
         "When get object by key, the value type is invalid. key:record | %Minterval"},
        {R"({"record": {"enable": true, "fileCnt": 3}, "stats": {"interval": 1.5}})",
         "record 1 %L/lumbrix.pcap 8388608x3, stats 0", "%Iinterval"},
    };
    const std::string log = CKsLog::getInstance()->getLogFilePath();
    for (const auto& c : cases) {
        CRecorderConfig config;
        const std::string printed = captureStdout([&] { config.load(c.m_strJson); });
        std::ostringstream loaded;
        loaded << "record " << config.recording() << " " << config.m_strRecordFile << " " << config.m_iRecordFileSize
               << "x" << config.m_iRecordFileCnt << ", stats " << config.m_iStatsInterval;
        EXPECT_EQ(replaced(c.m_strLoaded, "%L", log.substr(0, log.rfind('/'))), loaded.str()) << c.m_strJson;
        EXPECT_EQ(c.m_strPrinted.empty(), printed.empty()) << c.m_strJson << "\n" << printed;
        for (const std::string& line : printedLines(c.m_strPrinted)) {
            EXPECT_NE(std::string::npos, printed.find(line)) << c.m_strJson << "\n" << printed;
        }
    }
}

TEST(CpuAffinity, MaskWrapsAt32AndSignExtends)
{
    const struct {
        const char* m_pszList;
        uint64_t m_ulMask;
    } cases[] = {{"0,1,3", 11}, {"-1", 0}, {"-1,2", 4}, {"31", 18446744071562067968ull}, {"32", 1}, {"33", 2},
                 {"", 1},       {",", 1},  {"2x", 4}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.m_ulMask, CCpuAffinity::parseCpuMask(c.m_pszList)) << '"' << c.m_pszList << '"';
    }
    EXPECT_EQ("taskset -p 11 4711", CCpuAffinity::tasksetCommand(11, 4711));
}

} // namespace
