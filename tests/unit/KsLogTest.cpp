// The logger: line format and text, level filter, rotation and pruning of
// the backups, and the switch between the internal target and the card.
#include <pthread.h>
#include <sys/stat.h>

#include <filesystem>
#include <iomanip>
#include <regex>

#include "common/util/FileUtil.h"
#include "common/core/KsLog.h"
#include "UnitTest.h"

namespace {

// One file line: "[YYYY-MM-DD hh:mm:ss.m] [thread] [level] text", the
// milliseconds unpadded; groups thread, level, text.
const std::regex kLine(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.(0|[1-9]\d{0,2})\] \[([0-9A-F]+)\] \[(\w+)\] (.*))");

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

    CTempDir m_dir;
    std::string m_strLogPath = m_dir.file("ai.log");
};

} // namespace

// Lines built in the thread's reused buffer keep their own text and none of
// the previous line's format; a line logged while another is formatted gets
// a buffer of its own and comes first.
TEST_F(KsLogTest, LinesCarryThreadLevelAndTheirOwnText)
{
    CKsLog* log = start(internalConfig());
    log->writeLog(E_LOG_LEVEL_ERROR, "disk full");
    log->writeLog(E_LOG_LEVEL_DEBUG, std::string("detail"));
    log->writeLog(-2, "odd level");  // written under the name Info
    log->writeLog(7, "too verbose"); // still filtered by number
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

// Mode 0 moves the live file to backup 1 once it is past the size limit,
// mode 1 on every start, then prunes: only the live file and the even
// backups count towards the total, and deletion starts at the first even
// backup that takes it past the limit, or at the minimum count if larger.
// Files are told apart by their sizes; "-" is a missing backup.
TEST_F(KsLogTest, RotationAndPruningOfTheBackups)
{
    const struct {
        int m_iMode;
        int m_iMaxFileCnt;
        int m_iMaxSizePerFile;
        int m_iMaxLogSize;
        int m_iMinFileCnt;
        int m_iLiveSize;
        const char* m_pszBackups; // sizes of backups 1, 2, ...
        bool m_bWrite;            // a line is written, else only pruned
        size_t m_uLiveLines;
        const char* m_pszAfter; // backups 1 to 6 afterwards
    } rows[] = {
        {0, 5, 100, 10000, 5, 101, "1 2 3 4", true, 1, "101 1 2 3 - -"},
        {0, 5, 101, 10000, 5, 101, "1 2 3 4", true, 2, "1 2 3 4 - -"},
        {0, 1, 100, 10000, 5, 101, "1 2 3 4", true, 2, "1 2 3 4 - -"},   // one generation: reopened, never moved
        {0, 2, 100, 10000, 5, 101, "1 2 3 4", true, 1, "101 2 3 4 - -"}, // two: only the live file moves
        {1, 5, 1000, 10000, 5, 101, "1 2 3 4", true, 1, "101 1 2 3 - -"},
        {1, 7, 1000, 100, 0, 60, "1 50 1 50 1 50", false, 1, "1 - - - - -"},
        {1, 7, 1000, 100, 5, 60, "1 50 1 50 1 50", false, 1, "1 50 1 50 - -"},
        {1, 7, 1000, 100, 0, 60, "10000 5 10000 5 10000 5", false, 1, "10000 5 10000 5 10000 5"},
        {0, 7, 1000, 100, 0, 60, "1 50 1 50 1 50", false, 1, "1 50 1 50 1 50"}, // mode 0 never prunes
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::to_string(row.m_iMode) + ": " + row.m_pszBackups);
        writeFile(m_strLogPath, std::string(row.m_iLiveSize - 1, 'L') + "\n");
        std::istringstream sizes(row.m_pszBackups);
        int i = 1;
        for (int size = 0; sizes >> size; ++i) {
            writeFile(backup(i), std::string(size, 'B'));
        }
        CKsLog::CLogConfig config = internalConfig();
        config.m_iLogManagerMode = row.m_iMode;
        config.m_iMaxFileCnt = row.m_iMaxFileCnt;
        config.m_iMaxSizePerFile = row.m_iMaxSizePerFile;
        config.m_iMaxLogSize = row.m_iMaxLogSize;
        config.m_iMinFileCnt = row.m_iMinFileCnt;
        CKsLog* log = start(config);
        row.m_bWrite ? log->writeLog(E_LOG_LEVEL_ERROR, "fresh") : log->clearBackupFile();
        EXPECT_EQ(row.m_uLiveLines, flushedLines().size());
        std::string after;
        for (i = 1; i <= 6; ++i) {
            const int64_t size = CFileUtil::getFileSize(backup(i).c_str());
            after += (size < 0 ? "-" : std::to_string(size)) + (i < 6 ? " " : "");
            std::filesystem::remove(backup(i));
        }
        EXPECT_EQ(row.m_pszAfter, after);
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
    for (const std::string& dir : {card, image, image + "0", image + "1", image + "51"}) {
        ASSERT_EQ(0, mkdir(dir.c_str(), 0755));
    }
    writeFile(image + "0/mark", "was0");
    writeFile(image + "1/mark", "was1");
    writeFile(image + "51/mark", "was51"); // the oldest kept; nothing moves it
    log->logMonitorState();
    EXPECT_EQ(E_LOG_LEVEL_DEBUG, CKsLog::getLogLevel());
    EXPECT_TRUE(log->getLogExternalEnable());
    EXPECT_EQ("was0", readFile(image + "1/mark"));
    EXPECT_EQ("was1", readFile(image + "2/mark"));
    EXPECT_EQ("was51", readFile(image + "51/mark"));
    EXPECT_FALSE(CFileUtil::isDirExist((image + "52").c_str()));
    EXPECT_TRUE(CFileUtil::isDirExist((image + "0/Frame").c_str()));
    log->writeLog(E_LOG_LEVEL_DEBUG, "on the card");

    std::filesystem::remove_all(card);
    log->logMonitorState();
    EXPECT_FALSE(log->getLogExternalEnable());
    EXPECT_EQ(E_LOG_LEVEL_INFO, CKsLog::getLogLevel());
    log->writeLog(E_LOG_LEVEL_INFO, "back inside");

    // Each switch starts its target with a start line.
    const std::string onCard = readFile(m_dir.file("sd.log"));
    EXPECT_EQ(2u, countOf(onCard, "\n"));
    EXPECT_EQ(1u, countOf(onCard, "[Info] KsLog.cpp:"));
    EXPECT_EQ(1u, countOf(onCard, "KSLog: start!\n"));
    EXPECT_EQ(1u, countOf(onCard, "[Debug] on the card\n"));
    flushedLines();
    const std::string inside = readFile(m_strLogPath);
    EXPECT_EQ(3u, countOf(inside, "\n"));
    EXPECT_EQ(2u, countOf(inside, "KSLog: start!\n"));
    EXPECT_EQ(1u, countOf(inside, "[Info] back inside\n"));
}
