// The signal table and the logging handler, in forked children. What
// SIGINT, SIGHUP, SIGTERM and SIGSEGV do to the real gateway is checked end
// to end.
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "common/util/KsSignal.h"
#include "UnitTest.h"

namespace {

// Runs body in a forked child whose logger writes to a file in dir and whose
// standard output, where every log line goes too, to another; returns the
// wait status and that output. A child still running after five seconds is
// killed.
std::pair<int, std::string> runChild(const CTempDir& dir, const std::function<void()>& body)
{
    const std::string outPath = dir.file("child.out");
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        if (freopen(outPath.c_str(), "w", stdout) == nullptr) {
            _exit(99);
        }
        CKsLog::destroy();
        useTestLog(dir);
        CKsSignal::ms_mapSigHandleInfo.clear();
        body();
        fflush(stdout);
        _exit(0);
    }
    int status = -1;
    if (!eventually([&] { return waitpid(pid, &status, WNOHANG) != 0; })) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        ADD_FAILURE() << "child did not end in time";
    }
    return {status, readFile(outPath)};
}

const std::string kSet = "Set signal handle success. sigNo:";

TEST(KsSignal, HandledSignalsAreLoggedAndTheProcessCarriesOn)
{
    const struct {
        const char* m_pszName;
        std::function<void()> m_body;
        int m_iTermSignal;                                       // 0: the child ends normally
        std::vector<std::pair<std::string, size_t>> m_vecCounts; // lines printed so many times
    } rows[] = {
        {"broken pipe and a signal without a row",
         [] {
             CKsSignal::init();
             int pair[2];
             if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) == 0) {
                 close(pair[1]);
                 ssize_t sent = send(pair[0], "x", 1, 0); // SIGPIPE
                 (void)sent;
             }
             CKsSignal::sigHandleFunc(SIGWINCH, nullptr, nullptr);
             KS_LOG_INFO("still running");
         },
         0,
         {{kSet, 56},
          {kSet + "11, sigName:SIGSEGV, need resume default handle:1\n", 1},
          {kSet + "2, sigName:SIGINT, need resume default handle:0\n", 1},
          {"Receive signal SIGPIPE(no=13 from process ", 1},
          {"need resume the default handle.", 0},
          {"[Warn] KsSignal.cpp:", 1},
          {"Receive a signal, but not set the handle, use default handle. sig no:28\n", 1},
          {"still running", 1}}},
        {"a row set earlier without a handler keeps the default action",
         [] {
             TSignalHandleInfo leftAlone(SIGUSR1, "SIGUSR1", false, nullptr);
             CKsSignal::setHandle(leftAlone);
             CKsSignal::init();
             fflush(stdout);
             raise(SIGUSR1);
             KS_LOG_INFO("survived usr1");
         },
         SIGUSR1,
         {{"Signal 10, has not set handle function, use default handle.\n", 1}, {kSet, 55}, {"survived usr1", 0}}},
        {"the interrupted code's errno survives a handler whose log file cannot be opened",
         [] {
             CKsSignal::init();
             CKsLog::CLogConfig unopenable;
             unopenable.m_strLogFilePath = "/proc/self/no-such-directory/ai.log";
             CKsLog::getInstance()->addLogConfig(&unopenable);
             CKsLog::getInstance()->reInit();
             errno = EAGAIN;
             kill(getpid(), SIGUSR2);
             printf("errno kept: %d\n", errno == EAGAIN ? 1 : 0);
         },
         0,
         {{"Receive signal SIGUSR2(no=12 from process ", 1}, {"errno kept: 1\n", 1}}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.m_pszName);
        CTempDir dir;
        const auto child = runChild(dir, row.m_body);
        if (row.m_iTermSignal == 0) {
            ASSERT_TRUE(WIFEXITED(child.first));
            EXPECT_EQ(0, WEXITSTATUS(child.first));
        } else {
            ASSERT_TRUE(WIFSIGNALED(child.first));
            EXPECT_EQ(row.m_iTermSignal, WTERMSIG(child.first));
        }
        for (const auto& count : row.m_vecCounts) {
            EXPECT_EQ(count.second, countOf(child.second, count.first)) << count.first;
        }
    }
}

} // namespace
