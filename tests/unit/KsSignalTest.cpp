#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <set>
#include <thread>

#include "KsLog.h"
#include "KsSignal.h"
#include "TempDir.h"

namespace {

int rowCount()
{
    int count = 0;
    while (DEFAULT_SIG_HANDLE[count].m_iSigNo >= 0) {
        ++count;
    }
    return count;
}

size_t countOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

struct TChildResult {
    int m_iStatus = -1;
    std::string m_strLog;     // the log file
    std::string m_strStdout;  // everything the child printed
};

// Runs body in a forked child whose logger writes to a file in dir and whose
// standard output goes to another; the child installs the handlers first.
// A child that is still running after five seconds is killed.
TChildResult runChild(const TempDir& dir, const std::function<void()>& body)
{
    const std::string logPath = dir.file("child.log");
    const std::string outPath = dir.file("child.out");
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        FILE* out = fopen(outPath.c_str(), "w");
        if (out == nullptr) {
            _exit(99);
        }
        dup2(fileno(out), STDOUT_FILENO);
        struct rlimit noCore = {0, 0};
        setrlimit(RLIMIT_CORE, &noCore);

        CKsLog::destroy();
        CKsLog::CLogConfig config;
        config.m_strLogFilePath = logPath;
        config.m_strLogExternalPath = dir.file("no-card");
        CKsLog::getInstance()->addLogConfig(&config);
        CKsLog::setLogLevel(E_LOG_LEVEL_DEBUG);
        CKsSignal::ms_mapSigHandleInfo.clear();

        body();
        CKsLog::destroy();
        fflush(stdout);
        _exit(0);
    }

    TChildResult result;
    if (pid < 0) {
        return result;
    }
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (waitpid(pid, &result.m_iStatus, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &result.m_iStatus, 0);
            ADD_FAILURE() << "child did not end in time";
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    result.m_strLog = readFile(logPath);
    result.m_strStdout = readFile(outPath);
    return result;
}

}  // namespace

TEST(KsSignalTable, FiftySixRowsAllLogged)
{
    ASSERT_EQ(56, rowCount());
    const TSignalHandleInfo& end = DEFAULT_SIG_HANDLE[56];
    EXPECT_EQ(-1, end.m_iSigNo);
    EXPECT_STREQ("", end.m_pszSigName);
    EXPECT_FALSE(end.m_bResumeToDefault);
    EXPECT_EQ(nullptr, end.m_funcSigHandle);

    const int standard[] = {1, 2, 3, 4, 5, 6, 7, 8, 10, 11, 12, 13, 14,
                            16, 17, 20, 21, 22, 24, 25, 26, 27, 29, 30, 31};
    std::set<int> restored;
    for (int i = 0; i < 56; ++i) {
        const TSignalHandleInfo& row = DEFAULT_SIG_HANDLE[i];
        EXPECT_EQ(&CKsSignal::sigHandleFunc, row.m_funcSigHandle) << i;
        if (i < 25) {
            EXPECT_EQ(standard[i], row.m_iSigNo) << row.m_pszSigName;
        }
        if (row.m_bResumeToDefault) {
            restored.insert(row.m_iSigNo);
        }
    }
    EXPECT_EQ(std::set<int>({4, 6, 7, 11, 16, 25}), restored);
    EXPECT_STREQ("SIGSEGV", DEFAULT_SIG_HANDLE[9].m_pszSigName);
    EXPECT_STREQ("SIGSYS", DEFAULT_SIG_HANDLE[24].m_pszSigName);
}

TEST(KsSignalTable, RealTimeRowsFollowTheLibraryRange)
{
    for (int k = 0; k <= 15; ++k) {
        const TSignalHandleInfo& row = DEFAULT_SIG_HANDLE[25 + k];
        EXPECT_EQ(SIGRTMIN + k, row.m_iSigNo);
        EXPECT_EQ(k == 0 ? std::string("SIGRTMIN") : "SIGRTMIN+" + std::to_string(k), row.m_pszSigName);
    }
    for (int k = 14; k >= 0; --k) {
        const TSignalHandleInfo& row = DEFAULT_SIG_HANDLE[55 - k];
        EXPECT_EQ(SIGRTMAX - k, row.m_iSigNo);
        EXPECT_EQ(k == 0 ? std::string("SIGRTMAX") : "SIGRTMAX-" + std::to_string(k), row.m_pszSigName);
    }
}

TEST(KsSignalTable, RowSetEarlierWinsOverDefault)
{
    CKsSignal::ms_mapSigHandleInfo.clear();
    TSignalHandleInfo mine(SIGUSR1, "MINE", true, nullptr);
    CKsSignal::setHandle(mine);
    EXPECT_EQ(0, CKsSignal::setDefaultHandle(DEFAULT_SIG_HANDLE));
    EXPECT_EQ(0, CKsSignal::setDefaultHandle(nullptr));
    EXPECT_EQ(56u, CKsSignal::ms_mapSigHandleInfo.size());
    EXPECT_STREQ("MINE", CKsSignal::ms_mapSigHandleInfo[SIGUSR1].m_pszSigName);
    EXPECT_EQ(0u, CKsSignal::ms_mapSigHandleInfo.count(SIGTERM));
    EXPECT_EQ(0u, CKsSignal::ms_mapSigHandleInfo.count(SIGKILL));
    EXPECT_EQ(0u, CKsSignal::ms_mapSigHandleInfo.count(SIGWINCH));

    // setHandle replaces; the table never does.
    TSignalHandleInfo again(SIGUSR1, "AGAIN", false, nullptr);
    CKsSignal::setHandle(again);
    CKsSignal::setDefaultHandle(DEFAULT_SIG_HANDLE);
    EXPECT_STREQ("AGAIN", CKsSignal::ms_mapSigHandleInfo[SIGUSR1].m_pszSigName);
    CKsSignal::ms_mapSigHandleInfo.clear();
}

TEST(KsSignalProcess, ReportedSignalsAreLoggedAndTheProcessCarriesOn)
{
    TempDir dir;
    TChildResult child = runChild(dir, [] {
        CKsSignal::init();
        raise(SIGINT);
        raise(SIGHUP);
        int pair[2];
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) == 0) {
            close(pair[1]);
            ssize_t sent = send(pair[0], "x", 1, 0);  // SIGPIPE
            (void)sent;
            close(pair[0]);
        }
        CKsSignal::sigHandleFunc(SIGWINCH, nullptr, nullptr);
        KS_LOG_INFO("still running");
    });
    ASSERT_TRUE(WIFEXITED(child.m_iStatus));
    EXPECT_EQ(0, WEXITSTATUS(child.m_iStatus));

    const std::string& log = child.m_strLog;
    EXPECT_EQ(56u, countOf(log, "Set signal handle success. sigNo:"));
    EXPECT_EQ(1u, countOf(log, "Set signal handle success. sigNo:11, sigName:SIGSEGV, need resume default handle:1\n"));
    EXPECT_EQ(1u, countOf(log, "Set signal handle success. sigNo:2, sigName:SIGINT, need resume default handle:0\n"));
    EXPECT_EQ(1u, countOf(log, "Receive signal SIGINT(no=2 from process "));
    EXPECT_EQ(1u, countOf(log, "Receive signal SIGHUP(no=1 from process "));
    EXPECT_EQ(1u, countOf(log, "Receive signal SIGPIPE(no=13 from process "));
    EXPECT_EQ(0u, countOf(log, "need resume the default handle."));
    EXPECT_EQ(1u, countOf(log, "[Warn] KsSignal.cpp:"));
    EXPECT_EQ(1u, countOf(log, "Receive a signal, but not set the handle, use default handle. sig no:28\n"));
    EXPECT_EQ(1u, countOf(log, "still running"));
}

TEST(KsSignalProcess, FaultIsLoggedOnceThenEndsTheProcess)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address sanitizer keeps SIGSEGV for itself";
#endif
    TempDir dir;
    TChildResult child = runChild(dir, [] {
        CKsSignal::init();
        static volatile uintptr_t nowhere = 0;
        *reinterpret_cast<volatile int*>(nowhere) = 1;
        KS_LOG_INFO("survived the fault");
    });
    ASSERT_TRUE(WIFSIGNALED(child.m_iStatus));
    EXPECT_EQ(SIGSEGV, WTERMSIG(child.m_iStatus));
    // The log file is buffered and dies with the process; standard output
    // carries the same lines.
    const std::string& out = child.m_strStdout;
    EXPECT_EQ(1u, countOf(out, "Receive signal SIGSEGV(no=11"));
    EXPECT_EQ(1u, countOf(out, "Signal 11 need resume the default handle.\n"));
    EXPECT_EQ(0u, countOf(out, "survived the fault"));
}

TEST(KsSignalProcess, TerminateEndsTheProcessWithoutALine)
{
    TempDir dir;
    TChildResult child = runChild(dir, [] {
        CKsSignal::init();
        fflush(stdout);
        raise(SIGTERM);
        KS_LOG_INFO("survived terminate");
    });
    ASSERT_TRUE(WIFSIGNALED(child.m_iStatus));
    EXPECT_EQ(SIGTERM, WTERMSIG(child.m_iStatus));
    EXPECT_EQ(56u, countOf(child.m_strStdout, "Set signal handle success. sigNo:"));
    EXPECT_EQ(0u, countOf(child.m_strStdout, "Receive signal"));
    EXPECT_EQ(0u, countOf(child.m_strStdout, "survived terminate"));
}

TEST(KsSignalProcess, RowWithoutHandlerKeepsTheDefaultAction)
{
    TempDir dir;
    TChildResult child = runChild(dir, [] {
        TSignalHandleInfo leftAlone(SIGUSR1, "SIGUSR1", false, nullptr);
        CKsSignal::setHandle(leftAlone);
        CKsSignal::init();
        fflush(stdout);
        raise(SIGUSR1);
        KS_LOG_INFO("survived usr1");
    });
    ASSERT_TRUE(WIFSIGNALED(child.m_iStatus));
    EXPECT_EQ(SIGUSR1, WTERMSIG(child.m_iStatus));
    EXPECT_EQ(1u, countOf(child.m_strStdout, "Signal 10, has not set handle function, use default handle.\n"));
    EXPECT_EQ(55u, countOf(child.m_strStdout, "Set signal handle success. sigNo:"));
    EXPECT_EQ(0u, countOf(child.m_strStdout, "survived usr1"));
}
