#include "TestLog.h"

void useTestLog(const CTempDir& dir, int level)
{
    CKsLog::CLogConfig config;
    config.m_strLogFilePath = dir.file("test.log");
    config.m_iLogLevel = level;
    CKsLog::getInstance()->addLogConfig(&config);
    captureStdout([] { CKsLog::getInstance()->reInit(); });
}
