#ifndef LUMBRIX_KS_SIGNAL_H
#define LUMBRIX_KS_SIGNAL_H

#include <csignal>
#include <cstdint>
#include <map>
#include <string>

typedef void (*FuncSigHandle)(int, siginfo_t*, void*);

// One row of a signal table: which handler a signal gets and whether the
// handler puts the default action back after logging.
struct TSignalHandleInfo {
    int32_t m_iSigNo; // a negative number ends a table
    const char* m_pszSigName;
    bool m_bResumeToDefault;
    FuncSigHandle m_funcSigHandle; // null: the signal is left alone

    TSignalHandleInfo();
    TSignalHandleInfo(int32_t sigNo, const char* sigName, bool resumeToDefault, FuncSigHandle handle);
};

// The built-in table: 56 rows and a terminator. The real-time rows are
// worked out from the C library's range when the table is built, before
// main runs.
extern const TSignalHandleInfo DEFAULT_SIG_HANDLE[];

// Installs a logging handler for almost every catchable signal, so that
// every signal the process receives leaves a line in the log. The class owns
// the process-wide map of rows (by signal number); rows set with setHandle
// before init win over the built-in ones. All operations are static.
//
// The handler allocates and writes the log, which is only safe on a thread
// that is not itself inside an allocation or a log write. Signals sent to
// the process are therefore taken by the main thread alone, idle after
// start-up: every other thread is created with them blocked (see
// CNewThreadMask). The signals the kernel sends to the thread that caused
// them (faults, a broken pipe, a file grown past its limit, an abort) stay
// open on every thread, so that they are logged where they happen.
class CKsSignal {
public:
    // While it lives, the calling thread blocks the handled signals that are
    // sent to the process; a thread created meanwhile inherits that mask
    // from its first instruction. The calling thread's own mask is restored
    // when it goes.
    class CNewThreadMask {
    public:
        CNewThreadMask();
        ~CNewThreadMask();
        CNewThreadMask(const CNewThreadMask&) = delete;
        CNewThreadMask& operator=(const CNewThreadMask&) = delete;

    private:
        sigset_t m_setSaved;
    };

    // The handled signals (rows with a handler) that the kernel may deliver
    // to any thread of the process.
    static void getProcessSignals(sigset_t& set);

    static int init();
    static void setHandle(TSignalHandleInfo& info);
    static int setDefaultHandle(const TSignalHandleInfo* table);
    static void sigHandleFunc(int sig, siginfo_t* info, void* context);
    static void getStackInfo(std::string& stack);

    static std::map<int, TSignalHandleInfo> ms_mapSigHandleInfo;
};

#endif
