#ifndef LUMBRIX_KS_LOG_H
#define LUMBRIX_KS_LOG_H

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <map>
#include <mutex>
#include <ostream>
#include <sstream>
#include <string>

#include "common/core/KsIDNameMap.h"
#include "common/core/KsSingleton.h"

enum {
    E_LOG_LEVEL_ERROR = 0,
    E_LOG_LEVEL_WARN = 1,
    E_LOG_LEVEL_INFO = 2,
    E_LOG_LEVEL_DEBUG = 3,
};

// The process-wide logger. One instance owns the open log file and the two
// storage targets (internal "mnt" and the external card "SD0"); every thread
// writes through writeLog, which serialises on a recursive mutex. The global
// level is a plain static read without locking by every call site.
class CKsLog : public CKsSingleton<CKsLog> {
    friend class CKsSingleton<CKsLog>;

public:
    // One storage target's settings.
    class CLogConfig {
    public:
        int32_t m_iLogManagerMode = 0;
        int32_t m_iMaxFileCnt = 1;
        int32_t m_iMaxLogSize = 10485760;
        int32_t m_iMinFileCnt = 5;
        int32_t m_iMaxSizePerFile = 5242880;
        int32_t m_iLogLevel = 3;
        int32_t m_iLogSaveBourd = 0;
        bool m_bLogExternalEnable = false;
        std::string m_strLogExternalPath = "/tmp/SD0/aiLog";
        std::string m_strLogExternalImagePath = "/tmp/SD0/aiLog/aiImageTest/";
        std::string m_strLogFilePath = "/mnt/log/aiService.log";
        std::string m_strlogTransmitUrl = "/mnt/log/";
    };

    // The text of one line as the log macros build it. Each thread keeps one
    // stream and buffer and reuses them from line to line, so a line costs
    // no stream construction and, once the buffer has grown, no allocation.
    // A line begun while another is being built on the same thread (a
    // message that logs while it is formatted), or after the thread's own
    // buffer has gone at its exit, is built in a buffer of its own.
    class CLineText {
    public:
        CLineText();
        ~CLineText();
        CLineText(const CLineText&) = delete;
        CLineText& operator=(const CLineText&) = delete;

        std::ostream& stream();
        const char* text() const;

    private:
        class CBuffer;
        CBuffer* m_pBuffer;
        bool m_bOwned;
    };

    static void setLogLevel(int level) { ms_iLogLevel = level; }
    static int getLogLevel() { return ms_iLogLevel; }

    void writeLog(int level, const char* text);
    void writeLog(int level, const std::string& text);

    void addLogConfig(CLogConfig* config);
    void reInit();
    void logMonitorState();

    void manageLogFile();
    void loopBackupFile();
    void clearBackupFile();

    bool getLogExternalEnable() const;
    // The live log file of the current target.
    std::string getLogFilePath();
    std::string getLogExternalImagePath() const;

    static void setSdkLogLevel(int sdkLevel, int ourLevel);
    static int getServiceLogLevelForSdk(int sdkLevel);
    static void sdkLoggerCB(int sdkLevel, const char* text, int);

    static CKsIDNameMap ms_idNameMapLogLevel;

private:
    CKsLog();
    ~CKsLog();
    CKsLog(const CKsLog&) = delete;
    CKsLog& operator=(const CKsLog&) = delete;

    std::recursive_mutex m_mutexWriteLog;
    CLogConfig m_arrLogConfig[2];
    CLogConfig* m_pCurLogConfig;
    FILE* m_pFile;

    static int ms_iLogLevel;
    static std::map<int, int> ms_mapSdkLogLevel;
    static std::recursive_mutex ms_mutexLogLevel;
};

// The source file's name without its directories, worked out at compile time.
constexpr const char* ksLogFileName(const char* path)
{
    const char* name = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '/') {
            name = p + 1;
        }
    }
    return name;
}

// Call-site convention: nothing is built unless the global level admits the
// line; the text is "<file>:<line> <message>". KS_LOG_AT logs on behalf of a
// caller whose location a shared helper received.
#define KS_LOG_AT(level, file, line, message)                                                                          \
    do {                                                                                                               \
        if (CKsLog::getLogLevel() >= (level)) {                                                                        \
            CKsLog::CLineText ksLogLine_;                                                                              \
            ksLogLine_.stream() << ksLogFileName(file) << ":" << (line) << " " << message;                             \
            CKsLog::getInstance()->writeLog((level), ksLogLine_.text());                                               \
        }                                                                                                              \
    } while (0)

#define KS_LOG(level, message) KS_LOG_AT(level, __FILE__, __LINE__, message)

#define KS_LOG_ERROR(message) KS_LOG(E_LOG_LEVEL_ERROR, message)
#define KS_LOG_WARN(message) KS_LOG(E_LOG_LEVEL_WARN, message)
#define KS_LOG_INFO(message) KS_LOG(E_LOG_LEVEL_INFO, message)
#define KS_LOG_DEBUG(message) KS_LOG(E_LOG_LEVEL_DEBUG, message)

#endif
