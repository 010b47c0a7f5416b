// The logger: line format and text, level filter, rotation and pruning of
// the backups, and the switch between the internal target and the card.

#include <pthread.h>
#include <sys/stat.h>

#include <filesystem>
#include <iomanip>
#include <regex>

#include "FileUtil.h"
#include "KsLog.h"
#include "UnitTest.h"

namespace {

// One file line: "[YYYY-MM-DD hh:mm:ss.m] [thread] [level] text", the
// milliseconds unpadded; groups thread, level, text.
const std::regex kLine(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.(0|[1-9]\d{0,2})\] \[([0-9A-F]+)\] \[(\w+)\] (.*))");
const std::regex kStartLine(R"(.* \[Info\] KsLog\.cpp:\d+ KSLog: start!)");

bool exists(const std::string& path)
{
    return CFileUtil::isFileExist(path.c_str());
}

// Where a macro line of this file was written from.
std::string at(int line, const std::string& text)
{
    return "KsLogTest.cpp:" + std::to_string(line) + " " + text;
}

int g_iInnerLine = 0;

int logsWhileFormatted()
{
    g_iInnerLine = __LINE__ + 1;
    KS_LOG_DEBUG("inner line, " << 12345678901234LL);
    return 7;
}

// Every test starts from a fresh logger whose internal target is a file in
// its own temporary directory.
class KsLogTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        CKsLog::destroy();
        CKsLog::setLogLevel(E_LOG_LEVEL_DEBUG);
        testing::internal::CaptureStdout();
    }

    void TearDown() override
    {
        CKsLog::destroy();
        CKsLog::setLogLevel(E_LOG_LEVEL_DEBUG);
        testing::internal::GetCapturedStdout();
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

// Lines built in the thread's reused buffer keep their own text and none of
// the previous line's format; a line logged while another is formatted gets
// a buffer of its own and comes first.
TEST_F(KsLogTest, LinesCarryThreadLevelAndTheirOwnText)
{
    CKsLog* log = start(internalConfig());
    log->writeLog(E_LOG_LEVEL_ERROR, "disk full");
    log->writeLog(E_LOG_LEVEL_DEBUG, std::string("detail"));
    log->writeLog(-2, "odd level");   // written under the name Info
    log->writeLog(7, "too verbose");  // still filtered by number
    log->writeLog(E_LOG_LEVEL_ERROR, static_cast<const char*>(nullptr));
    const std::string longText(300, 'x');
    const int first = __LINE__ + 1;
    KS_LOG_WARN(longText << " end");
    const int outer = __LINE__ + 1;
    KS_LOG_INFO("outer " << logsWhileFormatted() << " done");
    const int hex = __LINE__ + 1;
    KS_LOG_INFO(std::hex << std::setw(6) << std::setfill('*') << 255 << std::showbase << 255);
    const int plain = __LINE__ + 1;
    KS_LOG_INFO(255 << "|" << 1.5 << "|" << true);
    const int shortLine = __LINE__ + 1;
    KS_LOG_ERROR("ok");

    const std::vector<std::pair<std::string, std::string>> expected = {
        {"Error", "disk full"},
        {"Debug", "detail"},
        {"Info", "odd level"},
        {"Warn", at(first, longText + " end")},
        {"Debug", at(g_iInnerLine, "inner line, 12345678901234")},
        {"Info", at(outer, "outer 7 done")},
        {"Info", at(hex, "****ff0xff")},
        {"Info", at(plain, "255|1.5|1")},
        {"Error", at(shortLine, "ok")},
    };
    char tid[16];
    snprintf(tid, sizeof(tid), "%X", static_cast<unsigned>(static_cast<unsigned long>(pthread_self())));
    const auto lines = flushedLines();
    ASSERT_EQ(expected.size(), lines.size());
    for (size_t i = 0; i < lines.size(); ++i) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(lines[i], m, kLine)) << lines[i];
        EXPECT_EQ(tid, m.str(2));
        EXPECT_EQ(expected[i].first, m.str(3)) << i;
        EXPECT_EQ(expected[i].second, m.str(4)) << i;
    }
}

TEST_F(KsLogTest, RotationOnStart)
{
    // The live file starts at 101 bytes beside backups 1 to 4. Mode 0 moves
    // it away once past the size limit; mode 1 on every start.
    const struct {
        const char* m_pszName;
        int m_iMode;
        int m_iMaxFileCnt;
        int m_iMaxSizePerFile;
        bool m_bRotated;
    } cases[] = {{"past the limit, five generations", 0, 5, 100, true},
                 {"at the limit", 0, 5, 101, false},
                 {"one generation is reopened, never moved", 0, 1, 100, false},
                 {"reopen mode", 1, 5, 1000, true}};
    const std::string old = std::string(100, 'L') + "\n";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.m_pszName);
        writeFile(m_strLogPath, old);
        for (int i = 1; i <= 4; ++i) {
            writeFile(backup(i), "backup" + std::to_string(i));
        }
        CKsLog::CLogConfig config = internalConfig();
        config.m_iLogManagerMode = c.m_iMode;
        config.m_iMaxFileCnt = c.m_iMaxFileCnt;
        config.m_iMaxSizePerFile = c.m_iMaxSizePerFile;
        start(config)->writeLog(E_LOG_LEVEL_ERROR, "fresh");

        auto lines = flushedLines();
        ASSERT_EQ(c.m_bRotated ? 1u : 2u, lines.size());
        EXPECT_NE(std::string::npos, lines.back().find("fresh"));
        EXPECT_EQ(c.m_bRotated ? old : "backup1", readFile(backup(1)));
        EXPECT_EQ(c.m_bRotated ? "backup3" : "backup4", readFile(backup(4)));
        EXPECT_FALSE(exists(backup(5)));
    }
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
    for (const std::string& dir : {card, image, image + "0", image + "1"}) {
        ASSERT_EQ(0, mkdir(dir.c_str(), 0755));
    }
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
