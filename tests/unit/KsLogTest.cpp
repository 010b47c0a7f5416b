#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/stat.h>

#include <filesystem>
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

// One file line, "[time] [thread] [level] text", taken apart.
struct TLine {
    std::string m_strTime;
    std::string m_strThread;
    std::string m_strLevel;
    std::string m_strText;
};

TLine parseLine(const std::string& line)
{
    TLine parsed;
    std::string* fields[] = {&parsed.m_strTime, &parsed.m_strThread, &parsed.m_strLevel};
    size_t at = 0;
    for (std::string* field : fields) {
        size_t close = line.find("] ", at);
        if (line.compare(at, 1, "[") != 0 || close == std::string::npos) {
            return TLine();
        }
        *field = line.substr(at + 1, close - at - 1);
        at = close + 2;
    }
    parsed.m_strText = line.substr(at);
    return parsed;
}

// "YYYY-MM-DD hh:mm:ss." followed by one to three digits.
bool isTimeText(const std::string& text)
{
    const std::string shape = "dddd-dd-dd dd:dd:dd.";
    if (text.size() < shape.size() + 1 || text.size() > shape.size() + 3) {
        return false;
    }
    for (size_t i = 0; i < text.size(); ++i) {
        bool digit = text[i] >= '0' && text[i] <= '9';
        if (i < shape.size() && shape[i] != 'd' ? text[i] != shape[i] : !digit) {
            return false;
        }
    }
    return true;
}

bool isStartLine(const std::string& line)
{
    TLine parsed = parseLine(line);
    const std::string tail = " KSLog: start!";
    return parsed.m_strLevel == "Info" && parsed.m_strText.rfind("KsLog.cpp:", 0) == 0 &&
           parsed.m_strText.size() > tail.size() &&
           parsed.m_strText.compare(parsed.m_strText.size() - tail.size(), tail.size(), tail) == 0;
}

bool exists(const std::string& path)
{
    return CFileUtil::isFileExist(path.c_str());
}

// Every test starts from a fresh logger whose internal target is a file in
// its own temporary directory.
class KsLogTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        CKsLog::destroy();
        m_strLogPath = m_dir.file("ai.log");
    }

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

    TempDir m_dir;
    std::string m_strLogPath;
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
    const char* expected[][2] = {{"Error", "disk full"}, {"Debug", "detail"}, {"Info", "odd level"}, {"Warn", ""}};
    for (size_t i = 0; i < 4; ++i) {
        TLine parsed = parseLine(lines[i]);
        EXPECT_TRUE(isTimeText(parsed.m_strTime)) << lines[i];
        EXPECT_EQ(tid, parsed.m_strThread) << lines[i];
        EXPECT_EQ(expected[i][0], parsed.m_strLevel) << lines[i];
        if (i < 3) {
            EXPECT_EQ(expected[i][1], parsed.m_strText);
        }
    }
    EXPECT_EQ("KsLogTest.cpp:" + std::to_string(line) + " bind failed, port:8080", parseLine(lines[3]).m_strText);
}

TEST_F(KsLogTest, ConfigForUnknownSlotIsIgnored)
{
    CKsLog* log = start(internalConfig());
    CKsLog::CLogConfig stray = internalConfig();
    stray.m_iLogSaveBourd = 2;
    stray.m_strLogFilePath = m_dir.file("stray.log");
    log->addLogConfig(&stray);
    log->addLogConfig(nullptr);
    log->writeLog(E_LOG_LEVEL_ERROR, "here");
    EXPECT_EQ(1u, flushedLines().size());
    EXPECT_FALSE(exists(m_dir.file("stray.log")));
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

TEST_F(KsLogTest, LevelNameMap)
{
    EXPECT_EQ(0, CKsLog::ms_idNameMapLogLevel.id("Error"));
    EXPECT_EQ(1, CKsLog::ms_idNameMapLogLevel.id("Warn"));
    EXPECT_EQ(2, CKsLog::ms_idNameMapLogLevel.id("Info"));
    EXPECT_EQ(3, CKsLog::ms_idNameMapLogLevel.id("Debug"));
    EXPECT_EQ("Warn", CKsLog::ms_idNameMapLogLevel.name(1));
}

TEST_F(KsLogTest, SizeRotationShiftsFiveGenerations)
{
    writeFile(m_strLogPath, std::string(101, 'L'));
    for (int i = 1; i <= 4; ++i) {
        writeFile(m_strLogPath + "." + std::to_string(i), "backup" + std::to_string(i));
    }
    CKsLog::CLogConfig config = internalConfig();
    config.m_iMaxFileCnt = 5;
    config.m_iMaxSizePerFile = 100;
    CKsLog* log = start(config);
    log->writeLog(E_LOG_LEVEL_ERROR, "fresh");

    auto lines = flushedLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("fresh"));
    EXPECT_EQ(std::string(101, 'L'), readFile(m_strLogPath + ".1"));
    EXPECT_EQ("backup1", readFile(m_strLogPath + ".2"));
    EXPECT_EQ("backup2", readFile(m_strLogPath + ".3"));
    EXPECT_EQ("backup3", readFile(m_strLogPath + ".4"));
    EXPECT_FALSE(exists(m_strLogPath + ".5"));
}

TEST_F(KsLogTest, SizeAtLimitDoesNotRotate)
{
    writeFile(m_strLogPath, std::string(100, 'L') + "\n");
    CKsLog::CLogConfig config = internalConfig();
    config.m_iMaxFileCnt = 5;
    config.m_iMaxSizePerFile = 101;
    CKsLog* log = start(config);
    log->writeLog(E_LOG_LEVEL_ERROR, "appended");

    auto lines = flushedLines();
    ASSERT_EQ(2u, lines.size());
    EXPECT_NE(std::string::npos, lines[1].find("appended"));
    EXPECT_FALSE(exists(m_strLogPath + ".1"));
}

TEST_F(KsLogTest, SingleGenerationKeepsGrowing)
{
    writeFile(m_strLogPath, std::string(200, 'L') + "\n");
    CKsLog::CLogConfig config = internalConfig();
    config.m_iMaxFileCnt = 1;
    config.m_iMaxSizePerFile = 100;
    CKsLog* log = start(config);
    // Both lines find the file past its limit: it is closed and reopened for
    // appending each time, never moved aside.
    log->writeLog(E_LOG_LEVEL_ERROR, "one");
    log->writeLog(E_LOG_LEVEL_ERROR, "two");

    auto lines = flushedLines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_EQ(std::string(200, 'L'), lines[0]);
    EXPECT_NE(std::string::npos, lines[1].find("one"));
    EXPECT_NE(std::string::npos, lines[2].find("two"));
    EXPECT_FALSE(exists(m_strLogPath + ".1"));
}

TEST_F(KsLogTest, ReopenModeStartsFreshFileEachTime)
{
    writeFile(m_strLogPath, "old\n");
    writeFile(m_strLogPath + ".1", "backup1");
    CKsLog::CLogConfig config = internalConfig();
    config.m_iLogManagerMode = 1;
    config.m_iMaxFileCnt = 7;

    start(config)->writeLog(E_LOG_LEVEL_ERROR, "first run");
    auto lines = flushedLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("first run"));
    EXPECT_EQ("old\n", readFile(m_strLogPath + ".1"));
    EXPECT_EQ("backup1", readFile(m_strLogPath + ".2"));

    start(config)->writeLog(E_LOG_LEVEL_ERROR, "second run");
    lines = flushedLines();
    ASSERT_EQ(1u, lines.size());
    EXPECT_NE(std::string::npos, lines[0].find("second run"));
    EXPECT_NE(std::string::npos, readFile(m_strLogPath + ".1").find("first run"));
    EXPECT_EQ("old\n", readFile(m_strLogPath + ".2"));
    EXPECT_EQ("backup1", readFile(m_strLogPath + ".3"));
}

TEST_F(KsLogTest, PruningCountsLiveFileAndEvenBackups)
{
    CKsLog::CLogConfig config = internalConfig();
    config.m_iLogManagerMode = 1;
    config.m_iMaxFileCnt = 7;
    config.m_iMaxLogSize = 100;

    auto makeFiles = [&](int oddSize) {
        writeFile(m_strLogPath, std::string(60, 'L'));
        for (int i = 1; i <= 6; ++i) {
            writeFile(m_strLogPath + "." + std::to_string(i), std::string(i % 2 ? oddSize : 50, 'B'));
        }
    };
    auto present = [&]() {
        std::string marks;
        for (int i = 1; i <= 6; ++i) {
            marks += exists(m_strLogPath + "." + std::to_string(i)) ? '1' : '0';
        }
        return marks;
    };

    // Live file plus ".2" exceed the budget: deletion starts at 2 ...
    makeFiles(1);
    config.m_iMinFileCnt = 0;
    start(config)->clearBackupFile();
    EXPECT_EQ("100000", present());
    EXPECT_TRUE(exists(m_strLogPath));

    // ... or at m_iMinFileCnt when that is larger.
    CKsLog::destroy();
    makeFiles(1);
    config.m_iMinFileCnt = 5;
    start(config)->clearBackupFile();
    EXPECT_EQ("111100", present());

    // Odd backups never count: huge ".1", ".3", ".5" leave the sum of 60 +
    // 3 * 5 under budget, so nothing goes.
    CKsLog::destroy();
    makeFiles(10000);
    for (int i = 2; i <= 6; i += 2) {
        writeFile(m_strLogPath + "." + std::to_string(i), "BBBBB");
    }
    config.m_iMinFileCnt = 0;
    start(config)->clearBackupFile();
    EXPECT_EQ("111111", present());

    // Mode 0 never prunes.
    CKsLog::destroy();
    makeFiles(1);
    config.m_iLogManagerMode = 0;
    start(config)->clearBackupFile();
    EXPECT_EQ("111111", present());
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
    EXPECT_EQ(E_LOG_LEVEL_INFO, CKsLog::getLogLevel());
    EXPECT_FALSE(log->getLogExternalEnable());
    log->logMonitorState();
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
    EXPECT_EQ(image, log->getLogExternalImagePath());
    EXPECT_EQ("was0", readFile(image + "1/mark"));
    EXPECT_EQ("was1", readFile(image + "2/mark"));
    EXPECT_TRUE(CFileUtil::isDirExist((image + "0/Frame").c_str()));
    log->writeLog(E_LOG_LEVEL_DEBUG, "on the card");
    log->logMonitorState();  // card still there: nothing changes
    EXPECT_TRUE(log->getLogExternalEnable());

    std::filesystem::remove_all(card);
    log->logMonitorState();
    EXPECT_FALSE(log->getLogExternalEnable());
    EXPECT_EQ(E_LOG_LEVEL_INFO, CKsLog::getLogLevel());
    log->writeLog(E_LOG_LEVEL_INFO, "back inside");

    auto cardLines = linesOf(m_dir.file("sd.log"));
    ASSERT_EQ(2u, cardLines.size());
    EXPECT_TRUE(isStartLine(cardLines[0])) << cardLines[0];
    EXPECT_NE(std::string::npos, cardLines[1].find("[Debug] on the card"));

    auto lines = flushedLines();
    ASSERT_EQ(3u, lines.size());
    EXPECT_TRUE(isStartLine(lines[0])) << lines[0];
    EXPECT_TRUE(isStartLine(lines[1])) << lines[1];
    EXPECT_NE(std::string::npos, lines[2].find("back inside"));
}
