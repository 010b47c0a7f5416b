// The signal table and the logging handler. What SIGINT, SIGHUP, SIGTERM
// and SIGSEGV do to the real gateway is checked end to end.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <set>
#include <thread>

#include "KsSignal.h"
#include "TestLog.h"

namespace {

size_t countOf(const std::string& text, const std::string& part)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

// Runs body in a forked child whose logger writes to a file in dir and whose
// standard output, where every log line goes too, to another; returns the
// wait status and that output. A child still running after five seconds is
// killed.
std::pair<int, std::string> runChild(const TempDir& dir, const std::function<void()>& body)
{
    const std::string outPath = dir.file("child.out");
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        FILE* out = fopen(outPath.c_str(), "w");
        if (out == nullptr) {
            _exit(99);
        }
        dup2(fileno(out), STDOUT_FILENO);
        CKsLog::destroy();
        useTestLog(dir);
        CKsSignal::ms_mapSigHandleInfo.clear();

        body();
        fflush(stdout);
        _exit(0);
    }

    int status = -1;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (pid > 0 && waitpid(pid, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            ADD_FAILURE() << "child did not end in time";
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return {status, readFile(outPath)};
}

}  // namespace

// The rows themselves are data written down once; what matters is that
// every one is logged and that only the fault signals return to default.
TEST(KsSignalTable, FiftySixRowsAllLoggedAndOnlyFaultsRestored)
{
    int rows = 0;
    std::set<int> restored;
    for (; DEFAULT_SIG_HANDLE[rows].m_iSigNo >= 0; ++rows) {
        EXPECT_EQ(&CKsSignal::sigHandleFunc, DEFAULT_SIG_HANDLE[rows].m_funcSigHandle) << rows;
        if (DEFAULT_SIG_HANDLE[rows].m_bResumeToDefault) {
            restored.insert(DEFAULT_SIG_HANDLE[rows].m_iSigNo);
        }
    }
    ASSERT_EQ(56, rows);
    EXPECT_EQ(std::set<int>({4, 6, 7, 11, 16, 25}), restored);
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

    // setHandle replaces; the table never does.
    TSignalHandleInfo again(SIGUSR1, "AGAIN", false, nullptr);
    CKsSignal::setHandle(again);
    CKsSignal::setDefaultHandle(DEFAULT_SIG_HANDLE);
    EXPECT_STREQ("AGAIN", CKsSignal::ms_mapSigHandleInfo[SIGUSR1].m_pszSigName);
    CKsSignal::ms_mapSigHandleInfo.clear();
}

TEST(KsSignalProcess, BrokenPipeAndSignalsWithoutARowAreLoggedAndTheProcessCarriesOn)
{
    TempDir dir;
    auto child = runChild(dir, [] {
        CKsSignal::init();
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
    ASSERT_TRUE(WIFEXITED(child.first));
    EXPECT_EQ(0, WEXITSTATUS(child.first));

    const std::string& out = child.second;
    EXPECT_EQ(56u, countOf(out, "Set signal handle success. sigNo:"));
    EXPECT_EQ(1u, countOf(out, "Set signal handle success. sigNo:11, sigName:SIGSEGV, need resume default handle:1\n"));
    EXPECT_EQ(1u, countOf(out, "Set signal handle success. sigNo:2, sigName:SIGINT, need resume default handle:0\n"));
    EXPECT_EQ(1u, countOf(out, "Receive signal SIGPIPE(no=13 from process "));
    EXPECT_EQ(0u, countOf(out, "need resume the default handle."));
    EXPECT_EQ(1u, countOf(out, "[Warn] KsSignal.cpp:"));
    EXPECT_EQ(1u, countOf(out, "Receive a signal, but not set the handle, use default handle. sig no:28\n"));
    EXPECT_EQ(1u, countOf(out, "still running"));
}

TEST(KsSignalProcess, RowWithoutHandlerKeepsTheDefaultAction)
{
    TempDir dir;
    auto child = runChild(dir, [] {
        TSignalHandleInfo leftAlone(SIGUSR1, "SIGUSR1", false, nullptr);
        CKsSignal::setHandle(leftAlone);
        CKsSignal::init();
        fflush(stdout);
        raise(SIGUSR1);
        KS_LOG_INFO("survived usr1");
    });
    ASSERT_TRUE(WIFSIGNALED(child.first));
    EXPECT_EQ(SIGUSR1, WTERMSIG(child.first));
    EXPECT_EQ(1u, countOf(child.second, "Signal 10, has not set handle function, use default handle.\n"));
    EXPECT_EQ(55u, countOf(child.second, "Set signal handle success. sigNo:"));
    EXPECT_EQ(0u, countOf(child.second, "survived usr1"));
}
