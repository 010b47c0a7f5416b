#include "TestLog.h"

void useTestLog(const TempDir& dir, int level)
{
    CKsLog::CLogConfig config;
    config.m_strLogFilePath = dir.file("test.log");
    config.m_iLogLevel = level;
    CKsLog::getInstance()->addLogConfig(&config);
    captureStdout([] { CKsLog::getInstance()->reInit(); });
}
