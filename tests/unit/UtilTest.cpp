#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>

#include "FileUtil.h"
#include "KsIDNameMap.h"
#include "KsTime.h"
#include "TempDir.h"

TEST(FileUtil, TypeTestsAndSizeTellFilesDirectoriesAndMissingPaths)
{
    TempDir dir;
    writeFile(dir.file("five"), "12345");
    const struct {
        std::string m_strPath;
        bool m_bFile;
        bool m_bDir;
    } cases[] = {{dir.file("five"), true, false}, {dir.path(), false, true}, {dir.file("missing"), false, false}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.m_bFile, CFileUtil::isFileExist(c.m_strPath.c_str())) << c.m_strPath;
        EXPECT_EQ(c.m_bDir, CFileUtil::isDirExist(c.m_strPath.c_str())) << c.m_strPath;
    }
    EXPECT_FALSE(CFileUtil::isFileExist(nullptr));
    EXPECT_FALSE(CFileUtil::isDirExist(nullptr));
    EXPECT_EQ(5, CFileUtil::getFileSize(dir.file("five").c_str()));
    EXPECT_EQ(-1, CFileUtil::getFileSize(dir.file("missing").c_str()));
    EXPECT_EQ(-1, CFileUtil::getFileSize(nullptr));
}

TEST(FileUtil, MoveReplacesTargetAndRemoveReportsFailure)
{
    TempDir dir;
    writeFile(dir.file("from"), "new");
    writeFile(dir.file("to"), "old");
    EXPECT_EQ(0, CFileUtil::mv(dir.file("from").c_str(), dir.file("to").c_str(), false));
    EXPECT_EQ("new", readFile(dir.file("to")));
    EXPECT_FALSE(CFileUtil::isFileExist(dir.file("from").c_str()));

    EXPECT_EQ(-1, CFileUtil::mv(dir.file("from").c_str(), dir.file("x").c_str(), true));
    EXPECT_EQ(-1, CFileUtil::mv(nullptr, dir.file("x").c_str(), true));
    EXPECT_EQ(-1, CFileUtil::mv(dir.file("to").c_str(), nullptr, true));

    EXPECT_EQ(0, CFileUtil::rm(nullptr));
    EXPECT_EQ(-1, CFileUtil::rm(dir.file("missing").c_str()));
    EXPECT_EQ(0, CFileUtil::rm(dir.file("to").c_str()));
    EXPECT_FALSE(CFileUtil::isFileExist(dir.file("to").c_str()));
}

TEST(FileUtil, FileListHonoursRecursionAndPrefix)
{
    TempDir dir;
    writeFile(dir.file("a.txt"), "a");
    mkdir(dir.file("sub").c_str(), 0755);
    writeFile(dir.file("sub/b.txt"), "b");
    mkdir(dir.file("sub/deeper").c_str(), 0755);
    writeFile(dir.file("sub/deeper/c.txt"), "c");

    std::vector<std::string> list;
    EXPECT_EQ(0, CFileUtil::getFileList(dir.path().c_str(), list, false));
    EXPECT_EQ(std::vector<std::string>({"a.txt"}), list);

    list.clear();
    EXPECT_EQ(0, CFileUtil::getFileList(dir.path().c_str(), list, true, "p"));
    std::sort(list.begin(), list.end());
    EXPECT_EQ(std::vector<std::string>({"p/a.txt", "p/sub/b.txt", "p/sub/deeper/c.txt"}), list);

    // A missing directory reports 1 and appends nothing.
    list.assign({"kept"});
    EXPECT_EQ(1, CFileUtil::getFileList(dir.file("missing").c_str(), list, true));
    EXPECT_EQ(std::vector<std::string>({"kept"}), list);
}

TEST(KsTime, TimeTextHasUnpaddedMilliseconds)
{
    const char* oldTz = std::getenv("TZ");
    const std::string saved = oldTz ? oldTz : "";
    setenv("TZ", "UTC", 1);
    tzset();

    char text[64];
    struct timeval tv = {1704196800, 7000};  // 2024-01-02 12:00:00.007 UTC
    CKsTime::getTimeStr(tv, text);
    EXPECT_STREQ("2024-01-02 12:00:00.7", text);
    tv = {1704196800 + 3599, 999999};
    CKsTime::getTimeStr(tv, text);
    EXPECT_STREQ("2024-01-02 12:59:59.999", text);

    oldTz ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ");
    tzset();
}

TEST(KsTime, TimeStampIsMillisecondsSinceEpochAndSleepBelowOneMillisecondReturnsAtOnce)
{
    uint64_t before = static_cast<uint64_t>(time(nullptr)) * 1000;
    uint64_t stamp = CKsTime::getCurTimeStamp();
    EXPECT_GE(stamp, before);
    EXPECT_LT(stamp, static_cast<uint64_t>(time(nullptr) + 1) * 1000);

    using Clock = std::chrono::steady_clock;
    auto start = Clock::now();
    CKsTime::sleep(0);
    CKsTime::sleep(-5);
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(5));
    start = Clock::now();
    CKsTime::sleep(20);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(20));
}

TEST(KsIDNameMap, TerminatorGivesDefaultIdAndLaterPairsWin)
{
    const CKsIDNameMap::TIDNamePair table[] = {{"one", 1}, {"two", 2}, {nullptr, 2}};
    CKsIDNameMap map(table);
    EXPECT_EQ(1, map.id("one"));
    EXPECT_EQ(2, map.id("unknown"));
    EXPECT_EQ("two", map.name(2));
    EXPECT_EQ("", map.name(7));
    map.addIDNamePair(2, "second");
    EXPECT_EQ("second", map.name(2));
    EXPECT_EQ(2, map.id("two"));

    CKsIDNameMap plain;
    EXPECT_EQ(-1, plain.id("unknown"));
    CKsIDNameMap fromNull(nullptr);
    EXPECT_EQ(-1, fromNull.id("one"));
}
