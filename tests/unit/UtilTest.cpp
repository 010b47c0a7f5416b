// File and time helpers.
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include "common/util/FileUtil.h"
#include "common/util/KsTime.h"
#include "UnitTest.h"

TEST(FileUtil, TypeSizeMoveRemoveAndListing)
{
    CTempDir dir;
    writeFile(dir.file("five"), "12345");
    const struct {
        std::string m_strPath;
        bool m_bFile;
        bool m_bDir;
        int64_t m_lSize;
    } cases[] = {{dir.file("five"), true, false, 5}, {dir.path(), false, true, 0}, {dir.file("missing"), false, false, -1}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.m_bFile, CFileUtil::isFileExist(c.m_strPath.c_str())) << c.m_strPath;
        EXPECT_EQ(c.m_bDir, CFileUtil::isDirExist(c.m_strPath.c_str())) << c.m_strPath;
        if (!c.m_bDir) {
            EXPECT_EQ(c.m_lSize, CFileUtil::getFileSize(c.m_strPath.c_str())) << c.m_strPath;
        }
    }
    EXPECT_FALSE(CFileUtil::isFileExist(nullptr));
    EXPECT_FALSE(CFileUtil::isDirExist(nullptr));
    EXPECT_EQ(-1, CFileUtil::getFileSize(nullptr));

    // A move replaces its target; a failed one or a failed remove is -1.
    writeFile(dir.file("to"), "old");
    EXPECT_EQ(0, CFileUtil::mv(dir.file("five").c_str(), dir.file("to").c_str(), false));
    EXPECT_EQ("12345", readFile(dir.file("to")));
    EXPECT_EQ(-1, CFileUtil::mv(dir.file("five").c_str(), dir.file("x").c_str(), true));
    EXPECT_EQ(-1, CFileUtil::mv(nullptr, dir.file("x").c_str(), true));
    EXPECT_EQ(-1, CFileUtil::mv(dir.file("to").c_str(), nullptr, true));
    EXPECT_EQ(0, CFileUtil::rm(nullptr));
    EXPECT_EQ(-1, CFileUtil::rm(dir.file("missing").c_str()));
    EXPECT_EQ(0, CFileUtil::rm(dir.file("to").c_str()));
    EXPECT_FALSE(CFileUtil::isFileExist(dir.file("to").c_str()));

    writeFile(dir.file("a.txt"), "a");
    mkdir(dir.file("sub").c_str(), 0755);
    writeFile(dir.file("sub/b.txt"), "b");
    mkdir(dir.file("sub/deeper").c_str(), 0755);
    writeFile(dir.file("sub/deeper/c.txt"), "c");
    const struct {
        std::string m_strDir;
        bool m_bRecursive;
        std::string m_strPrefix;
        int m_iResult;
        std::vector<std::string> m_vecListed;  // after "kept"
    } listings[] = {
        {dir.path(), false, "", 0, {"a.txt"}},
        {dir.path(), true, "p", 0, {"p/a.txt", "p/sub/b.txt", "p/sub/deeper/c.txt"}},
        {dir.file("missing"), true, "", 1, {}},
    };
    for (const auto& l : listings) {
        std::vector<std::string> list{"kept"};
        EXPECT_EQ(l.m_iResult, CFileUtil::getFileList(l.m_strDir.c_str(), list, l.m_bRecursive, l.m_strPrefix));
        std::sort(list.begin() + 1, list.end());
        list.erase(list.begin());
        EXPECT_EQ(l.m_vecListed, list) << l.m_strDir << " " << l.m_bRecursive;
    }
}

TEST(KsTime, TimeTextAndStamp)
{
    const char* oldTz = std::getenv("TZ");
    const std::string saved = oldTz ? oldTz : "";
    setenv("TZ", "UTC", 1);
    tzset();
    const struct {
        timeval m_tv;
        const char* m_pszText;  // the milliseconds unpadded
    } cases[] = {{{1704196800, 7000}, "2024-01-02 12:00:00.7"}, {{1704196800 + 3599, 999999}, "2024-01-02 12:59:59.999"}};
    for (const auto& c : cases) {
        char text[64];
        CKsTime::getTimeStr(c.m_tv, text);
        EXPECT_STREQ(c.m_pszText, text);
    }
    oldTz ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ");
    tzset();

    // Bounds from the same clock (time() reads a coarser one, a tick behind).
    const auto nowMs = [] {
        using namespace std::chrono;
        return static_cast<uint64_t>(duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count());
    };
    const uint64_t before = nowMs();
    const uint64_t stamp = CKsTime::getCurTimeStamp();
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, nowMs());
}
