#include "common/util/KsSignal.h"

#include <pthread.h>

#include <cerrno>

#include "common/core/KsLog.h"

namespace {

void restoreDefaultAction(int sig)
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(sig, &action, nullptr);
}

// Signals the kernel sends to the thread whose instruction or call caused
// them; blocking them there would leave a fault pending or kill the process
// without a line.
const int THREAD_DIRECTED_SIGNALS[] = {SIGSEGV, SIGBUS,  SIGFPE,  SIGILL,  SIGTRAP,
                                       SIGSYS,  SIGPIPE, SIGXFSZ, SIGABRT, SIGSTKFLT};

bool isThreadDirected(int sig)
{
    for (int directed : THREAD_DIRECTED_SIGNALS) {
        if (directed == sig) {
            return true;
        }
    }
    return false;
}

// The signals the handler holds back while it logs, set by init.
sigset_t s_processSignals;

const char* nameOf(const TSignalHandleInfo& info)
{
    return info.m_pszSigName != nullptr ? info.m_pszSigName : "";
}

} // namespace

TSignalHandleInfo::TSignalHandleInfo()
    : m_iSigNo(-1), m_pszSigName(""), m_bResumeToDefault(false), m_funcSigHandle(nullptr)
{
}

TSignalHandleInfo::TSignalHandleInfo(int32_t sigNo, const char* sigName, bool resumeToDefault, FuncSigHandle handle)
    : m_iSigNo(sigNo), m_pszSigName(sigName), m_bResumeToDefault(resumeToDefault), m_funcSigHandle(handle)
{
}

#define KS_SIG_ROW(no, name, resume) TSignalHandleInfo((no), (name), (resume), CKsSignal::sigHandleFunc)

const TSignalHandleInfo DEFAULT_SIG_HANDLE[] = {
    KS_SIG_ROW(SIGHUP, "SIGHUP", false),
    KS_SIG_ROW(SIGINT, "SIGINT", false),
    KS_SIG_ROW(SIGQUIT, "SIGQUIT", false),
    KS_SIG_ROW(SIGILL, "SIGILL", true),
    KS_SIG_ROW(SIGTRAP, "SIGTRAP", false),
    KS_SIG_ROW(SIGABRT, "SIGABRT", true),
    KS_SIG_ROW(SIGBUS, "SIGBUS", true),
    KS_SIG_ROW(SIGFPE, "SIGFPE", false),
    KS_SIG_ROW(SIGUSR1, "SIGUSR1", false),
    KS_SIG_ROW(SIGSEGV, "SIGSEGV", true),
    KS_SIG_ROW(SIGUSR2, "SIGUSR2", false),
    KS_SIG_ROW(SIGPIPE, "SIGPIPE", false),
    KS_SIG_ROW(SIGALRM, "SIGALRM", false),
    KS_SIG_ROW(SIGSTKFLT, "SIGSTKFLT", true),
    KS_SIG_ROW(SIGCHLD, "SIGCHLD", false),
    KS_SIG_ROW(SIGTSTP, "SIGTSTP", false),
    KS_SIG_ROW(SIGTTIN, "SIGTTIN", false),
    KS_SIG_ROW(SIGTTOU, "SIGTTOU", false),
    KS_SIG_ROW(SIGXCPU, "SIGXCPU", false),
    KS_SIG_ROW(SIGXFSZ, "SIGXFSZ", true),
    KS_SIG_ROW(SIGVTALRM, "SIGVTALRM", false),
    KS_SIG_ROW(SIGPROF, "SIGPROF", false),
    KS_SIG_ROW(SIGIO, "SIGIO", false),
    KS_SIG_ROW(SIGPWR, "SIGPWR", false),
    KS_SIG_ROW(SIGSYS, "SIGSYS", false),
    KS_SIG_ROW(SIGRTMIN, "SIGRTMIN", false),
    KS_SIG_ROW(SIGRTMIN + 1, "SIGRTMIN+1", false),
    KS_SIG_ROW(SIGRTMIN + 2, "SIGRTMIN+2", false),
    KS_SIG_ROW(SIGRTMIN + 3, "SIGRTMIN+3", false),
    KS_SIG_ROW(SIGRTMIN + 4, "SIGRTMIN+4", false),
    KS_SIG_ROW(SIGRTMIN + 5, "SIGRTMIN+5", false),
    KS_SIG_ROW(SIGRTMIN + 6, "SIGRTMIN+6", false),
    KS_SIG_ROW(SIGRTMIN + 7, "SIGRTMIN+7", false),
    KS_SIG_ROW(SIGRTMIN + 8, "SIGRTMIN+8", false),
    KS_SIG_ROW(SIGRTMIN + 9, "SIGRTMIN+9", false),
    KS_SIG_ROW(SIGRTMIN + 10, "SIGRTMIN+10", false),
    KS_SIG_ROW(SIGRTMIN + 11, "SIGRTMIN+11", false),
    KS_SIG_ROW(SIGRTMIN + 12, "SIGRTMIN+12", false),
    KS_SIG_ROW(SIGRTMIN + 13, "SIGRTMIN+13", false),
    KS_SIG_ROW(SIGRTMIN + 14, "SIGRTMIN+14", false),
    KS_SIG_ROW(SIGRTMIN + 15, "SIGRTMIN+15", false),
    KS_SIG_ROW(SIGRTMAX - 14, "SIGRTMAX-14", false),
    KS_SIG_ROW(SIGRTMAX - 13, "SIGRTMAX-13", false),
    KS_SIG_ROW(SIGRTMAX - 12, "SIGRTMAX-12", false),
    KS_SIG_ROW(SIGRTMAX - 11, "SIGRTMAX-11", false),
    KS_SIG_ROW(SIGRTMAX - 10, "SIGRTMAX-10", false),
    KS_SIG_ROW(SIGRTMAX - 9, "SIGRTMAX-9", false),
    KS_SIG_ROW(SIGRTMAX - 8, "SIGRTMAX-8", false),
    KS_SIG_ROW(SIGRTMAX - 7, "SIGRTMAX-7", false),
    KS_SIG_ROW(SIGRTMAX - 6, "SIGRTMAX-6", false),
    KS_SIG_ROW(SIGRTMAX - 5, "SIGRTMAX-5", false),
    KS_SIG_ROW(SIGRTMAX - 4, "SIGRTMAX-4", false),
    KS_SIG_ROW(SIGRTMAX - 3, "SIGRTMAX-3", false),
    KS_SIG_ROW(SIGRTMAX - 2, "SIGRTMAX-2", false),
    KS_SIG_ROW(SIGRTMAX - 1, "SIGRTMAX-1", false),
    KS_SIG_ROW(SIGRTMAX, "SIGRTMAX", false),
    TSignalHandleInfo(),
};

#undef KS_SIG_ROW

std::map<int, TSignalHandleInfo> CKsSignal::ms_mapSigHandleInfo;

int CKsSignal::init()
{
    setDefaultHandle(DEFAULT_SIG_HANDLE);
    getProcessSignals(s_processSignals);
    for (const auto& [sigNo, info] : ms_mapSigHandleInfo) {
        if (info.m_funcSigHandle == nullptr) {
            KS_LOG_INFO("Signal " << sigNo << ", has not set handle function, use default handle.");
            continue;
        }
        struct sigaction action = {};
        action.sa_sigaction = info.m_funcSigHandle;
        action.sa_flags = SA_SIGINFO;
        sigemptyset(&action.sa_mask);
        if (sigaction(sigNo, &action, nullptr) != 0) {
            KS_LOG_ERROR("Fail to set signal handle. sigNo:" << sigNo << ", sigName:" << nameOf(info)
                                                             << ", errno:" << errno);
            continue;
        }
        KS_LOG_INFO("Set signal handle success. sigNo:" << sigNo << ", sigName:" << nameOf(info)
                                                        << ", need resume default handle:"
                                                        << (info.m_bResumeToDefault ? 1 : 0));
    }
    return 0;
}

void CKsSignal::setHandle(TSignalHandleInfo& info)
{
    ms_mapSigHandleInfo[info.m_iSigNo] = info;
}

int CKsSignal::setDefaultHandle(const TSignalHandleInfo* table)
{
    if (table == nullptr) {
        return 0;
    }
    for (const TSignalHandleInfo* row = table; row->m_iSigNo >= 0; ++row) {
        ms_mapSigHandleInfo.emplace(row->m_iSigNo, *row);
    }
    return 0;
}

void CKsSignal::sigHandleFunc(int sig, siginfo_t* info, void*)
{
    // The interrupted code may be about to read errno.
    const int savedErrno = errno;
    // One signal's lines at a time: a signal sent to the process while this
    // one is being logged waits until the handler returns, instead of
    // running inside its allocation or log write.
    sigset_t savedMask;
    pthread_sigmask(SIG_BLOCK, &s_processSignals, &savedMask);
    auto it = ms_mapSigHandleInfo.find(sig);
    if (it == ms_mapSigHandleInfo.end()) {
        KS_LOG_WARN("Receive a signal, but not set the handle, use default handle. sig no:" << sig);
        restoreDefaultAction(sig);
    } else {
        const TSignalHandleInfo& row = it->second;
        std::string sender = info != nullptr ? " from process " + std::to_string(info->si_pid) : std::string();
        std::string stack;
        getStackInfo(stack);
        KS_LOG_INFO("Receive signal " << nameOf(row) << "(no=" << sig << sender << ", stack info:\n" << stack);
        if (row.m_bResumeToDefault) {
            KS_LOG_INFO("Signal " << sig << " need resume the default handle.");
            restoreDefaultAction(sig);
        }
    }
    pthread_sigmask(SIG_SETMASK, &savedMask, nullptr);
    errno = savedErrno;
}

void CKsSignal::getProcessSignals(sigset_t& set)
{
    sigemptyset(&set);
    for (const auto& [sigNo, info] : ms_mapSigHandleInfo) {
        if (info.m_funcSigHandle != nullptr && !isThreadDirected(sigNo)) {
            sigaddset(&set, sigNo);
        }
    }
}

CKsSignal::CNewThreadMask::CNewThreadMask()
{
    sigset_t blocked;
    getProcessSignals(blocked);
    pthread_sigmask(SIG_BLOCK, &blocked, &m_setSaved);
}

CKsSignal::CNewThreadMask::~CNewThreadMask()
{
    pthread_sigmask(SIG_SETMASK, &m_setSaved, nullptr);
}

void CKsSignal::getStackInfo(std::string&) {}
