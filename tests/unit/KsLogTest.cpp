#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/stat.h>

#include <filesystem>
#include <regex>
#include <sstream>
#include <vector>

#include "FileUtil.h"
#include "KsLog.h"
#include "TempDir.h"

namespace {

std::vector<std::string> linesOf(const std::string& path)
{
    std::vector<std::string> lines;
    std::istringstream in(readFile(path));
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// One file line: "[YYYY-MM-DD hh:mm:ss.m] [thread] [level] text", the
// milliseconds unpadded; groups thread, level, text.
const std::regex kLine(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{1,3}\] \[([0-9A-F]+)\] \[(\w+)\] (.*))");
const std::regex kStartLine(R"(.* \[Info\] KsLog\.cpp:\d+ KSLog: start!)");

bool exists(const std::string& path)
{
    return CFileUtil::isFileExist(path.c_str());
}

// Every test starts from a fresh logger whose internal target is a file in
// its own temporary directory.
class KsLogTest : public ::testing::Test {
protected:
    void SetUp() override { CKsLog::destroy(); }

    void TearDown() override
    {
        CKsLog::destroy();
        CKsLog::setLogLevel(E_LOG_LEVEL_DEBUG);
    }

    CKsLog::CLogConfig internalConfig() const
    {
        CKsLog::CLogConfig config;
        config.m_strLogFilePath = m_strLogPath;
        config.m_strLogExternalPath = m_dir.file("no-card");
        config.m_strLogExternalImagePath = m_dir.file("no-card/img/");
        return config;
    }

    CKsLog* start(CKsLog::CLogConfig config)
    {
        CKsLog* log = CKsLog::getInstance();
        log->addLogConfig(&config);
        return log;
    }

    // Closing the logger flushes its file.
    std::vector<std::string> flushedLines()
    {
        CKsLog::destroy();
        return linesOf(m_strLogPath);
    }

    std::string backup(int i) const { return m_strLogPath + "." + std::to_string(i); }

    TempDir m_dir;
    std::string m_strLogPath = m_dir.file("ai.log");
};

}  // namespace

TEST_F(KsLogTest, FileLineFormat)
{
    CKsLog* log = start(internalConfig());
    CKsLog::setLogLevel(E_LOG_LEVEL_DEBUG);

    log->writeLog(E_LOG_LEVEL_ERROR, "disk full");
    log->writeLog(E_LOG_LEVEL_DEBUG, std::string("detail"));
    log->writeLog(-2, "odd level");   // written under the name Info
    log->writeLog(7, "too verbose");  // still filtered by number
    log->writeLog(E_LOG_LEVEL_ERROR, static_cast<const char*>(nullptr));
    int line = __LINE__ + 1;
    KS_LOG_WARN("bind failed, port:" << 8080);

    auto lines = flushedLines();
    ASSERT_EQ(4u, lines.size());
    char tid[16];
    snprintf(tid, sizeof(tid), "%X", static_cast<unsigned>(static_cast<unsigned long>(pthread_self())));
    const std::string expected[][2] = {{"Error", "disk full"},
                                       {"Debug", "detail"},
                                       {"Info", "odd level"},
                                       {"Warn", "KsLogTest.cpp:" + std::to_string(line) + " bind failed, port:8080"}};
    for (size_t i = 0; i < 4; ++i) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(lines[i], m, kLine)) << lines[i];
        EXPECT_EQ(tid, m.str(1));
        EXPECT_EQ(expected[i][0], m.str(2));
        EXPECT_EQ(expected[i][1], m.str(3));
    }
}

TEST_F(KsLogTest, GlobalLevelFilters)
{
    CKsLog* log = start(internalConfig());
    CKsLog::setLogLevel(E_LOG_LEVEL_ERROR);
    for (int level = E_LOG_LEVEL_ERROR; level <= E_LOG_LEVEL_DEBUG; ++level) {
        log->writeLog(level, "level " + std::to_string(level));
    }
    CKsLog::setLogLevel(-1);
    log->writeLog(E_LOG_LEVEL_ERROR, "silenced error");
    KS_LOG_ERROR("silenced macro");

    auto lines = flushedLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("[Error] level 0"));
}

TEST_F(KsLogTest, SizeRotationInModeZero)
{
    // The live file starts at 101 bytes beside backups 1 to 4.
    const struct {
        const char* m_pszName;
        int m_iMaxFileCnt;
        int m_iMaxSizePerFile;
        bool m_bRotated;
    } cases[] = {{"past the limit, five generations", 5, 100, true},
                 {"at the limit", 5, 101, false},
                 {"one generation is reopened, never moved", 1, 100, false}};
    const std::string old = std::string(100, 'L') + "\n";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_pszName);
        writeFile(m_strLogPath, old);
        for (int i = 1; i <= 4; ++i) {
            writeFile(backup(i), "backup" + std::to_string(i));
        }
        CKsLog::CLogConfig config = internalConfig();
        config.m_iMaxFileCnt = c.m_iMaxFileCnt;
        config.m_iMaxSizePerFile = c.m_iMaxSizePerFile;
        start(config)->writeLog(E_LOG_LEVEL_ERROR, "fresh");

        auto lines = flushedLines();
        ASSERT_EQ(c.m_bRotated ? 1u : 2u, lines.size());
        EXPECT_NE(std::string::npos, lines.back().find("fresh"));
        if (c.m_bRotated) {
            EXPECT_EQ(old, readFile(backup(1)));
            EXPECT_EQ("backup1", readFile(backup(2)));
            EXPECT_EQ("backup3", readFile(backup(4)));
        } else {
            EXPECT_EQ("backup1", readFile(backup(1)));
            EXPECT_EQ("backup4", readFile(backup(4)));
        }
        EXPECT_FALSE(exists(backup(5)));
    }
}

TEST_F(KsLogTest, ReopenModeStartsFreshFileEachTime)
{
    writeFile(m_strLogPath, "old\n");
    writeFile(backup(1), "backup1");
    CKsLog::CLogConfig config = internalConfig();
    config.m_iLogManagerMode = 1;
    config.m_iMaxFileCnt = 7;

    start(config)->writeLog(E_LOG_LEVEL_ERROR, "first run");
    auto lines = flushedLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("first run"));
    EXPECT_EQ("old\n", readFile(backup(1)));
    EXPECT_EQ("backup1", readFile(backup(2)));
}

TEST_F(KsLogTest, PruningCountsLiveFileAndEvenBackups)
{
    // A 60-byte live file and backups 1 to 6 against a budget of 100.
    const struct {
        int m_iOddSize;
        int m_iEvenSize;
        int m_iMinFileCnt;
        int m_iMode;
        const char* m_pszKept;  // backups 1 to 6 still there
    } cases[] = {
        {1, 50, 0, 1, "100000"},      // live plus ".2" exceed: deletion starts at 2 ...
        {1, 50, 5, 1, "111100"},      // ... or at m_iMinFileCnt when that is larger
        {10000, 5, 0, 1, "111111"},   // odd backups never count: 60 + 3 * 5 is under budget
        {1, 50, 0, 0, "111111"},      // mode 0 never prunes
    };
    for (const auto& c : cases) {
        writeFile(m_strLogPath, std::string(60, 'L'));
        for (int i = 1; i <= 6; ++i) {
            writeFile(backup(i), std::string(i % 2 ? c.m_iOddSize : c.m_iEvenSize, 'B'));
        }
        CKsLog::CLogConfig config = internalConfig();
        config.m_iLogManagerMode = c.m_iMode;
        config.m_iMaxFileCnt = 7;
        config.m_iMaxLogSize = 100;
        config.m_iMinFileCnt = c.m_iMinFileCnt;
        start(config)->clearBackupFile();
        std::string kept;
        for (int i = 1; i <= 6; ++i) {
            kept += exists(backup(i)) ? '1' : '0';
        }
        EXPECT_EQ(c.m_pszKept, kept);
        EXPECT_TRUE(exists(m_strLogPath));
        CKsLog::destroy();
    }
}

TEST_F(KsLogTest, ExternalCardSwitchesTargets)
{
    const std::string card = m_dir.file("card");
    const std::string image = card + "/img/";
    CKsLog::CLogConfig internal = internalConfig();
    internal.m_iLogLevel = E_LOG_LEVEL_INFO;
    CKsLog::CLogConfig external = internalConfig();
    external.m_iLogSaveBourd = 1;
    external.m_iLogManagerMode = 1;
    external.m_iMaxFileCnt = 100;
    external.m_iMinFileCnt = 100;
    external.m_iLogLevel = E_LOG_LEVEL_DEBUG;
    external.m_bLogExternalEnable = true;
    external.m_strLogExternalPath = card;
    external.m_strLogExternalImagePath = image;
    // Kept outside the card directory so that it survives the card going.
    external.m_strLogFilePath = m_dir.file("sd.log");

    CKsLog* log = start(internal);
    log->addLogConfig(&external);

    // No card: the internal target and its level.
    log->reInit();
    log->logMonitorState();
    EXPECT_EQ(E_LOG_LEVEL_INFO, CKsLog::getLogLevel());
    EXPECT_FALSE(log->getLogExternalEnable());

    // The card comes: image directories shift up and a fresh "0" is made.
    ASSERT_EQ(0, mkdir(card.c_str(), 0755));
    ASSERT_EQ(0, mkdir(image.c_str(), 0755));
    ASSERT_EQ(0, mkdir((image + "0").c_str(), 0755));
    ASSERT_EQ(0, mkdir((image + "1").c_str(), 0755));
    writeFile(image + "0/mark", "was0");
    writeFile(image + "1/mark", "was1");
    log->logMonitorState();
    EXPECT_EQ(E_LOG_LEVEL_DEBUG, CKsLog::getLogLevel());
    EXPECT_TRUE(log->getLogExternalEnable());
    EXPECT_EQ("was0", readFile(image + "1/mark"));
    EXPECT_EQ("was1", readFile(image + "2/mark"));
    EXPECT_TRUE(CFileUtil::isDirExist((image + "0/Frame").c_str()));
    log->writeLog(E_LOG_LEVEL_DEBUG, "on the card");

    std::filesystem::remove_all(card);
    log->logMonitorState();
    EXPECT_FALSE(log->getLogExternalEnable());
    EXPECT_EQ(E_LOG_LEVEL_INFO, CKsLog::getLogLevel());
    log->writeLog(E_LOG_LEVEL_INFO, "back inside");

    auto cardLines = linesOf(m_dir.file("sd.log"));
    ASSERT_EQ(2u, cardLines.size());
    EXPECT_TRUE(std::regex_match(cardLines[0], kStartLine)) << cardLines[0];
    EXPECT_NE(std::string::npos, cardLines[1].find("[Debug] on the card"));

    auto lines = flushedLines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_TRUE(std::regex_match(lines[0], kStartLine)) << lines[0];
    EXPECT_TRUE(std::regex_match(lines[1], kStartLine)) << lines[1];
    EXPECT_NE(std::string::npos, lines[2].find("back inside"));
}
