// File and time helpers, and the recording's files.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <fstream>

#include "framework/CaptureFiles.h"
#include "framework/RecordRing.h"
#include "common/ipc/Ipv4Address.h"
#include "common/util/PcapWriter.h"
#include "common/util/FileUtil.h"
#include "common/util/KsTime.h"
#include "UnitTest.h"

TEST(FileUtil, TypeSizeMoveRemoveAndListing)
{
    CTempDir dir;
    writeFile(dir.file("five"), "12345");
    const struct {
        std::string m_strPath;
        bool m_bFile, m_bDir;
        int64_t m_lSize;
    } cases[] = {
        {dir.file("five"), true, false, 5}, {dir.path(), false, true, 0}, {dir.file("missing"), false, false, -1}};
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
        std::vector<std::string> m_vecListed; // after "kept"
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
        const char* m_pszText; // the milliseconds unpadded
    } cases[] = {{{1704196800, 7000}, "2024-01-02 12:00:00.7"},
                 {{1704196800 + 3599, 999999}, "2024-01-02 12:59:59.999"}};
    for (const auto& c : cases) {
        char text[64];
        CKsTime::getTimeStr(c.m_tv, text);
        EXPECT_STREQ(c.m_pszText, text);
    }
    oldTz ? setenv("TZ", saved.c_str(), 1) : unsetenv("TZ");
    tzset();

    // Bounds from the same clock (time() reads a coarser one, a tick behind).
    const int64_t before = wallMs();
    const int64_t stamp = static_cast<int64_t>(CKsTime::getCurTimeStamp());
    EXPECT_GE(stamp, before);
    EXPECT_LE(stamp, wallMs());
}

namespace {

// count records of 100 bytes each (a 56-byte datagram), as the ring hands
// them over.
std::string records(int count)
{
    std::string out;
    for (int i = 0; i < count; ++i) {
        uint8_t record[100];
        const sockaddr_in a{AF_INET, htons(1000), {htonl(0x7F000001)}, {0}};
        const uint8_t payload[56] = {static_cast<uint8_t>(i)};
        CPcapWriter::formatRecord(record, a, a, payload, sizeof(payload), timeval{1, 2}, 0);
        out.append(reinterpret_cast<const char*>(record), sizeof(record));
    }
    return out;
}

void write(CCaptureFiles& files, const std::string& bytes)
{
    files.write(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

// Files of fileSize bytes at most (24 of them the file header), fileCnt of
// them; records written in runs of three. "-1" for a file that is not there.
TEST(CaptureFiles, RotationBeforeTheSizeKeepsTheCount)
{
    CTempDir dir;
    useTestLog(dir);
    const struct {
        int64_t m_lFileSize;
        int m_iCount;
        std::string m_strEarlier; // the live file an earlier run left
        int m_iRecords;
        std::vector<int64_t> m_vecSizes; // live, .1, .2, .3
        uint64_t m_ulLost;
    } cases[] = {
        {524, 3, "", 12, {224, 524, 524, -1}, 0},
        {524, 2, "", 12, {224, 524, -1, -1}, 0},
        {523, 4, "", 5, {124, 424, -1, -1}, 0},
        {100, 2, "", 3, {24, -1, -1, -1}, 3},
        // An earlier recording, cut back to its last whole record, is kept.
        {1024, 3, records(2) + "\x01\x02", 1, {124, 224, -1, -1}, 0},
    };
    for (const auto& c : cases) {
        const std::string path = dir.file("rec.pcap");
        for (const char* suffix : {"", ".1", ".2", ".3"}) {
            unlink((path + suffix).c_str());
        }
        if (!c.m_strEarlier.empty()) {
            CPcapWriter earlier;
            earlier.open(path);
            earlier.close();
            std::ofstream(path, std::ios::app) << c.m_strEarlier;
        }
        CCaptureFiles files(path, c.m_lFileSize, c.m_iCount);
        for (int i = 0; i < c.m_iRecords; i += 3) {
            write(files, records(std::min(3, c.m_iRecords - i)));
        }
        std::vector<int64_t> sizes;
        for (const char* suffix : {"", ".1", ".2", ".3"}) {
            sizes.push_back(CFileUtil::getFileSize((path + suffix).c_str()));
        }
        EXPECT_EQ(c.m_vecSizes, sizes) << c.m_lFileSize << " x" << c.m_iCount;
        EXPECT_EQ(c.m_ulLost, files.lost());
        EXPECT_EQ(c.m_iRecords - c.m_ulLost, files.written());
    }
}

// A disk that takes only part of a run: the file is cut back to its last
// whole record, one line says the recording pauses, the rest is lost; the
// next write goes on with the same file and says so once.
TEST(CaptureFiles, AShortWriteIsCutBackToTheLastWholeRecord)
{
    CTempDir dir;
    useTestLog(dir);
    const std::string path = dir.file("rec.pcap");
    CCaptureFiles files(path, 1 << 20, 2);
    rlimit saved;
    getrlimit(RLIMIT_FSIZE, &saved);
    rlimit limited = saved;
    limited.rlim_cur = 24 + 250;
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &limited);
    const std::string printed = captureStdout([&] {
        write(files, records(3));
        write(files, records(3));
        setrlimit(RLIMIT_FSIZE, &saved);
        write(files, records(1));
        write(files, records(1));
    });
    signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(24 + 4 * 100, CFileUtil::getFileSize(path.c_str()));
    EXPECT_EQ(4u, files.written());
    EXPECT_EQ(4u, files.lost());
    EXPECT_EQ(1u, countOf(printed, "Fail to write the recording " + path + ", errno:27, the recording is paused.\n"))
        << printed;
    EXPECT_EQ(1u, countOf(printed, "The recording is resumed, file:" + path + "\n")) << printed;
}

// A ring nobody drains keeps what fits and loses the rest, each lost record
// counted; draining hands over every kept record whole.
TEST(RecordRing, WhatDoesNotFitIsLostAndCounted)
{
    CRecordRing ring(128 * 1024);
    const sockaddr_in a{};
    const std::string datagram(1000, 'x');
    uint64_t kept = 0;
    uint64_t lost = 0;
    for (int i = 0; i < 200; ++i) {
        ++(ring.put(a, a, datagram.data(), datagram.size()) ? kept : lost);
    }
    EXPECT_EQ(lost, ring.lost());
    EXPECT_EQ(200u, kept + lost);
    EXPECT_LT(0u, lost);
    uint64_t drained = 0;
    ring.drain([&drained](const uint8_t* bytes, size_t length) {
        for (size_t at = 0; at < length; at += CPcapWriter::storedLength(bytes + at)) {
            ++drained;
        }
    });
    EXPECT_EQ(kept, drained);
}

// One record as a capture holds it: its own header (host order), then an
// IPv4 and a UDP header (network order) around the datagram.
TEST(PcapWriter, ARecordIsItsHeadersAroundTheDatagram)
{
    uint8_t record[64];
    const size_t n = CPcapWriter::formatRecord(record, ipv4Address("127.0.0.1", 1234), ipv4Address("127.0.0.2", 25100),
                                               reinterpret_cast<const uint8_t*>("ab"), 2, timeval{1, 2}, 0x0102);
    EXPECT_EQ(bytesOf("01 00 00 00 02 00 00 00 1e 00 00 00 1e 00 00 00 "             // time, lengths
                      "45 00 00 1e 01 02 40 00 40 11 3b ca 7f 00 00 01 7f 00 00 02 " // IPv4
                      "04 d2 62 0c 00 0a 00 00 61 62"),                              // UDP, datagram
              std::string(reinterpret_cast<const char*>(record), n));
}
