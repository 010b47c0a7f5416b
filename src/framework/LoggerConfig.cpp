#include "framework/LoggerConfig.h"

#include <cstdio>
#include <string>

#include "framework/ConfigReader.h"
#include "common/core/JsonNode.h"
#include "common/core/KsLog.h"

namespace {

// The "log" keys with their defaults.
struct TLoggerSettings {
    std::string level = "Info";
    std::string file = "/mnt/log/aiService.log";
    int fileCnt = 8;
    int logMode = 0;
    bool logExternalEnable = false;
    std::string logExternalPath = "/tmp/SD0/aiLog/";
    std::string logExternalImagePath = "/tmp/SD0/aiLog/aiImageTest/";
    std::string logTransmitUrl = "/mnt/log/";
    int fileSize = 524288;
    int totalSize = 4194304;
    int minFileCnt = 5;
};

// Reads the keys in their documented order; -1 at the first wrong type.
int readSettings(CJsonNode& log, TLoggerSettings& s)
{
    if (CConfigReader::readOptional(log, "level", s.level) != 0 ||
        CConfigReader::readOptional(log, "file", s.file) != 0) {
        return -1;
    }
    printf("------------------file: %s\n", s.file.c_str());
    if (CConfigReader::readOptional(log, "fileCnt", s.fileCnt) != 0 ||
        CConfigReader::readOptional(log, "logMode", s.logMode) != 0 ||
        CConfigReader::readOptional(log, "logExternalEnable", s.logExternalEnable) != 0 ||
        CConfigReader::readOptional(log, "logExternalPath", s.logExternalPath) != 0 ||
        CConfigReader::readOptional(log, "logExternalImagePath", s.logExternalImagePath) != 0 ||
        CConfigReader::readOptional(log, "logTransmitUrl", s.logTransmitUrl) != 0 ||
        CConfigReader::readOptional(log, "fileSize", s.fileSize) != 0 ||
        CConfigReader::readOptional(log, "totalSize", s.totalSize) != 0 ||
        CConfigReader::readOptional(log, "minFileCnt", s.minFileCnt) != 0) {
        return -1;
    }
    return 0;
}

} // namespace

int initLogger(const char* configFile)
{
    const std::string arg = configFile == nullptr ? "" : configFile;
    CJsonNode root;
    if (CConfigReader::load(arg, root) != 0) {
        return -1;
    }

    TLoggerSettings s;
    int level = E_LOG_LEVEL_INFO;
    CJsonNode log;
    const int found = CConfigReader::readObject(root, "log", log);
    if (found == CConfigReader::E_READ_INVALID) {
        return -1;
    }
    if (found == CConfigReader::E_READ_OK) {
        if (readSettings(log, s) != 0) {
            return -1;
        }
        level = CKsLog::ms_idNameMapLogLevel.id(s.level);
    }

    CKsLog::CLogConfig internal;
    internal.m_iLogManagerMode = s.logMode;
    internal.m_iMaxFileCnt = s.fileCnt;
    internal.m_iLogLevel = level;
    internal.m_iLogSaveBourd = 0;
    internal.m_bLogExternalEnable = false;
    internal.m_strLogFilePath = s.file;
    internal.m_strLogExternalImagePath = s.logExternalImagePath;
    internal.m_strlogTransmitUrl = s.logTransmitUrl;
    if (s.logMode != 0) {
        internal.m_iMaxLogSize = s.totalSize;
        internal.m_iMinFileCnt = s.minFileCnt;
    } else {
        internal.m_iMaxSizePerFile = s.fileSize;
    }
    CKsLog::getInstance()->addLogConfig(&internal);

    // The card always logs everything and keeps up to 100 files; only its
    // switch and its directory are configurable.
    CKsLog::CLogConfig external;
    external.m_iLogManagerMode = 1;
    external.m_iMaxFileCnt = 100;
    external.m_iMaxLogSize = 1048576000;
    external.m_iMinFileCnt = 100;
    external.m_iMaxSizePerFile = 1048576000;
    external.m_iLogLevel = CKsLog::ms_idNameMapLogLevel.id("Debug");
    external.m_iLogSaveBourd = 1;
    external.m_bLogExternalEnable = s.logExternalEnable;
    external.m_strLogExternalPath = s.logExternalPath;
    external.m_strLogFilePath = s.logExternalPath + "aiService.log";
    external.m_strLogExternalImagePath = s.logExternalImagePath;
    external.m_strlogTransmitUrl = s.logTransmitUrl;
    CKsLog::getInstance()->addLogConfig(&external);

    CKsLog::getInstance()->reInit();
    return 0;
}
