#include "common/core/KsLog.h"

#include <pthread.h>

#include <sys/time.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/util/FileUtil.h"
#include "common/util/KsTime.h"

namespace {

const CKsIDNameMap::TIDNamePair LOG_LEVEL_NAMES[] = {
    {"Error", E_LOG_LEVEL_ERROR}, {"Warn", E_LOG_LEVEL_WARN},  {"Info", E_LOG_LEVEL_INFO},
    {"Debug", E_LOG_LEVEL_DEBUG}, {nullptr, E_LOG_LEVEL_INFO},
};

// The name a line carries; a level outside the table is written as "Info".
// Kept apart from the id-name map so that lines logged while the process
// is still being set up never depend on the map being built.
const char* levelName(int level)
{
    switch (level) {
    case E_LOG_LEVEL_ERROR:
        return "Error";
    case E_LOG_LEVEL_WARN:
        return "Warn";
    case E_LOG_LEVEL_DEBUG:
        return "Debug";
    default:
        return "Info";
    }
}

// <base> followed directly by the decimal number.
std::string numbered(const std::string& base, int number)
{
    return base + std::to_string(number);
}

// The time text of a line, as CKsTime::getTimeStr writes it. Everything up
// to the milliseconds changes once a second, so each thread formats it only
// when the second has changed and appends the milliseconds to it.
void lineTime(char* out)
{
    static thread_local time_t s_second = -1;
    static thread_local char s_prefix[64];
    static thread_local size_t s_prefixLen = 0;

    struct timeval tv;
    gettimeofday(&tv, nullptr);
    if (tv.tv_sec != s_second) {
        struct timeval whole = tv;
        whole.tv_usec = 0;
        CKsTime::getTimeStr(whole, s_prefix); // "...:ss.0"
        s_prefixLen = strlen(s_prefix) - 1;
        s_second = tv.tv_sec;
    }
    memcpy(out, s_prefix, s_prefixLen);
    char* p = out + s_prefixLen;
    const int ms = static_cast<int>(tv.tv_usec / 1000); // unpadded, as "%d"
    if (ms >= 100) {
        *p++ = static_cast<char>('0' + ms / 100);
    }
    if (ms >= 10) {
        *p++ = static_cast<char>('0' + ms / 10 % 10);
    }
    *p++ = static_cast<char>('0' + ms % 10);
    *p = '\0';
}

// Set when the thread's own line buffer has been destroyed at thread exit;
// a plain flag, so it can still be read then.
thread_local bool t_bLineBufferGone = false;

} // namespace

// A stream buffer that appends to a string kept from line to line, with the
// stream that writes into it.
class CKsLog::CLineText::CBuffer : public std::streambuf {
public:
    explicit CBuffer(bool threadBuffer) : m_stream(this), m_bThreadBuffer(threadBuffer) {}
    ~CBuffer() override
    {
        if (m_bThreadBuffer) {
            t_bLineBufferGone = true;
        }
    }

    // Starts a new line: empty text, and none of a previous message's
    // format settings.
    std::ostream& begin()
    {
        m_strText.clear();
        m_stream.clear();
        m_stream.flags(std::ios_base::dec | std::ios_base::skipws);
        m_stream.width(0);
        m_stream.precision(6);
        m_stream.fill(' ');
        return m_stream;
    }

    std::ostream& stream() { return m_stream; }
    const char* text() const { return m_strText.c_str(); }

    bool m_bBusy = false;

protected:
    int_type overflow(int_type c) override
    {
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            m_strText.push_back(traits_type::to_char_type(c));
        }
        return traits_type::not_eof(c);
    }

    std::streamsize xsputn(const char* s, std::streamsize n) override
    {
        m_strText.append(s, static_cast<size_t>(n));
        return n;
    }

private:
    std::string m_strText;
    std::ostream m_stream;
    bool m_bThreadBuffer;
};

CKsLog::CLineText::CLineText() : m_pBuffer(nullptr), m_bOwned(false)
{
    if (!t_bLineBufferGone) {
        static thread_local CBuffer s_buffer(true);
        if (!s_buffer.m_bBusy) {
            m_pBuffer = &s_buffer;
        }
    }
    if (m_pBuffer == nullptr) {
        m_pBuffer = new CBuffer(false);
        m_bOwned = true;
    }
    m_pBuffer->m_bBusy = true;
    m_pBuffer->begin();
}

CKsLog::CLineText::~CLineText()
{
    if (m_bOwned) {
        delete m_pBuffer;
    } else {
        m_pBuffer->m_bBusy = false;
    }
}

std::ostream& CKsLog::CLineText::stream()
{
    return m_pBuffer->stream();
}

const char* CKsLog::CLineText::text() const
{
    return m_pBuffer->text();
}

CKsIDNameMap CKsLog::ms_idNameMapLogLevel(LOG_LEVEL_NAMES);
int CKsLog::ms_iLogLevel = E_LOG_LEVEL_DEBUG;
std::map<int, int> CKsLog::ms_mapSdkLogLevel;
std::recursive_mutex CKsLog::ms_mutexLogLevel;

CKsLog::CKsLog() : m_pCurLogConfig(&m_arrLogConfig[0]), m_pFile(nullptr) {}

CKsLog::~CKsLog()
{
    if (m_pFile != nullptr) {
        fclose(m_pFile);
        m_pFile = nullptr;
    }
}

void CKsLog::writeLog(int level, const std::string& text)
{
    writeLog(level, text.c_str());
}

void CKsLog::writeLog(int level, const char* text)
{
    if (text == nullptr || ms_iLogLevel < level) {
        return;
    }
    pthread_t threadId = pthread_self();
    const char* name = levelName(level);
    char timeStr[64];
    lineTime(timeStr);

    std::lock_guard<std::recursive_mutex> lock(m_mutexWriteLog);
    manageLogFile();
    if (m_pFile == nullptr) {
        printf("-------m_strLogFilePath: %s\n", m_pCurLogConfig->m_strLogFilePath.c_str());
        m_pFile = fopen(m_pCurLogConfig->m_strLogFilePath.c_str(), "a+");
    }
    printf("[%s] [%lu] [%s] %s\n", timeStr, static_cast<unsigned long>(threadId), name, text);
    fflush(stdout);
    if (m_pFile == nullptr) {
        return;
    }
    fprintf(m_pFile, "[%s] [%X] [%s] %s\n", timeStr,
            static_cast<unsigned int>(static_cast<unsigned long>(threadId) & 0xFFFFFFFFul), name, text);
}

void CKsLog::addLogConfig(CLogConfig* config)
{
    if (config == nullptr || config->m_iLogSaveBourd < 0 || config->m_iLogSaveBourd > 1) {
        return;
    }
    std::lock_guard<std::recursive_mutex> lock(m_mutexWriteLog);
    m_arrLogConfig[config->m_iLogSaveBourd] = *config;
}

void CKsLog::reInit()
{
    printf("KSLog: reinit start\n");
    std::lock_guard<std::recursive_mutex> lock(m_mutexWriteLog);
    if (m_pFile != nullptr) {
        fclose(m_pFile);
        m_pFile = nullptr;
    }

    CLogConfig& external = m_arrLogConfig[1];
    bool externalExists = CFileUtil::isDirExist(external.m_strLogExternalPath.c_str());
    printf("KSLog: file path: %s\n", external.m_strLogExternalPath.c_str());
    printf("KSLog: file exist: %d\n", externalExists ? 1 : 0);
    printf("KSLog: enable: %d\n", external.m_bLogExternalEnable ? 1 : 0);

    if (external.m_bLogExternalEnable && externalExists) {
        printf("KSLog: SD0\n");
        m_pCurLogConfig = &external;
        ms_iLogLevel = external.m_iLogLevel;
        // Each start keeps the image directories of the earlier ones: shift
        // <image>0..50 up by one and begin a fresh <image>0.
        const std::string& image = m_pCurLogConfig->m_strLogExternalImagePath;
        if (CFileUtil::isDirExist(image.c_str())) {
            for (int i = 51; i >= 2; --i) {
                std::string older = numbered(image, i - 1);
                if (CFileUtil::isDirExist(older.c_str())) {
                    CFileUtil::mv(older.c_str(), numbered(image, i).c_str());
                }
            }
            std::string newest = numbered(image, 0);
            if (CFileUtil::isDirExist(newest.c_str())) {
                CFileUtil::mv(newest.c_str(), numbered(image, 1).c_str());
            }
            int result = system(("mkdir " + image + "0").c_str());
            result = system(("mkdir " + image + "/0/" + "Frame").c_str());
            (void)result;
        }
    } else {
        printf("KSLog: mnt\n");
        m_pCurLogConfig = &m_arrLogConfig[0];
        ms_iLogLevel = m_pCurLogConfig->m_iLogLevel;
    }

    printf("KSLog: file mode: %d\n", m_pCurLogConfig->m_iLogManagerMode);
    printf("KSLog: file name: %s\n", m_pCurLogConfig->m_strLogFilePath.c_str());
    KS_LOG_INFO("KSLog: start!");
    printf("KSLog: reinit finished，\n");
}

void CKsLog::logMonitorState()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutexWriteLog);
    const CLogConfig& external = m_arrLogConfig[1];
    if (m_pFile == nullptr || !external.m_bLogExternalEnable) {
        return;
    }
    bool externalExists = CFileUtil::isDirExist(external.m_strLogExternalPath.c_str());
    if (externalExists && !m_pCurLogConfig->m_bLogExternalEnable) {
        printf("CKSLog: write log to SD0\n");
        reInit();
    } else if (!externalExists && m_pCurLogConfig->m_bLogExternalEnable) {
        printf("CKSLog: write log to mnt\n");
        reInit();
    }
}

void CKsLog::manageLogFile()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutexWriteLog);
    const CLogConfig& config = *m_pCurLogConfig;
    if (config.m_iLogManagerMode == 1) {
        if (m_pFile == nullptr) {
            loopBackupFile();
            clearBackupFile();
            m_pFile = fopen(config.m_strLogFilePath.c_str(), "w");
        }
    } else if (CFileUtil::getFileSize(config.m_strLogFilePath.c_str()) > config.m_iMaxSizePerFile) {
        loopBackupFile();
    }
}

void CKsLog::loopBackupFile()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutexWriteLog);
    if (m_pFile != nullptr) {
        fclose(m_pFile);
        m_pFile = nullptr;
    }
    CFileUtil::shiftBackups(m_pCurLogConfig->m_strLogFilePath, m_pCurLogConfig->m_iMaxFileCnt);
}

void CKsLog::clearBackupFile()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutexWriteLog);
    const CLogConfig& config = *m_pCurLogConfig;
    if (config.m_iLogManagerMode == 0 || m_pFile != nullptr) {
        return;
    }
    const std::string& path = config.m_strLogFilePath;
    const std::string backupBase = path + ".";
    int count = config.m_iMaxFileCnt;

    // Only the live file and the even backups count towards the budget.
    int64_t total = std::max<int64_t>(CFileUtil::getFileSize(path.c_str()), 0);
    int i = 2;
    for (; i < count; i += 2) {
        total += std::max<int64_t>(CFileUtil::getFileSize(numbered(backupBase, i).c_str()), 0);
        if (total >= config.m_iMaxLogSize) {
            break;
        }
    }

    int first = std::max(i, config.m_iMinFileCnt);
    if (first <= 1) {
        first = 1;
    }
    for (int k = first; k < count; ++k) {
        CFileUtil::rm(numbered(backupBase, k).c_str());
    }
}

std::string CKsLog::getLogFilePath()
{
    std::lock_guard<std::recursive_mutex> lock(m_mutexWriteLog);
    return m_pCurLogConfig->m_strLogFilePath;
}

bool CKsLog::getLogExternalEnable() const
{
    return m_pCurLogConfig->m_bLogExternalEnable;
}

std::string CKsLog::getLogExternalImagePath() const
{
    return m_pCurLogConfig->m_strLogExternalImagePath;
}

void CKsLog::setSdkLogLevel(int sdkLevel, int ourLevel)
{
    std::lock_guard<std::recursive_mutex> lock(ms_mutexLogLevel);
    ms_mapSdkLogLevel[sdkLevel] = ourLevel;
}

int CKsLog::getServiceLogLevelForSdk(int sdkLevel)
{
    std::lock_guard<std::recursive_mutex> lock(ms_mutexLogLevel);
    auto it = ms_mapSdkLogLevel.find(sdkLevel);
    return it == ms_mapSdkLogLevel.end() ? E_LOG_LEVEL_DEBUG : it->second;
}

void CKsLog::sdkLoggerCB(int sdkLevel, const char* text, int)
{
    if (text == nullptr) {
        return;
    }
    int level = getServiceLogLevelForSdk(sdkLevel);
    if (ms_iLogLevel >= level) {
        getInstance()->writeLog(level, text);
    }
}
