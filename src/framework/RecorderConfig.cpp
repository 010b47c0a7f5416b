#include "framework/RecorderConfig.h"

#include "framework/ConfigReader.h"
#include "common/core/JsonNode.h"
#include "common/core/KsLog.h"

namespace {

// "lumbrix.pcap" in the directory of the live log file.
std::string besideTheLog()
{
    const std::string log = CKsLog::getInstance()->getLogFilePath();
    const size_t slash = log.rfind('/');
    return (slash == std::string::npos ? "" : log.substr(0, slash + 1)) + "lumbrix.pcap";
}

// The keys of "record" in order; false at the first wrong type.
bool readRecord(CJsonNode& record, CRecorderConfig& c)
{
    return CConfigReader::readOptional(record, "enable", c.m_bRecordEnable) == 0 &&
           CConfigReader::readOptional(record, "file", c.m_strRecordFile) == 0 &&
           CConfigReader::readOptional(record, "fileSize", c.m_iRecordFileSize) == 0 &&
           CConfigReader::readOptional(record, "fileCnt", c.m_iRecordFileCnt) == 0;
}

} // namespace

void CRecorderConfig::load(const std::string& fileOrText)
{
    CJsonNode root;
    if (CConfigReader::load(fileOrText, root) != 0) {
        return;
    }
    CJsonNode object;
    m_strRecordFile = besideTheLog();
    const int record = CConfigReader::readObject(root, "record", object);
    if (record == CConfigReader::E_READ_OK && !readRecord(object, *this)) {
        m_bRecordEnable = false;
    }
    if (m_iRecordFileCnt < 2) {
        m_iRecordFileCnt = 2;
    }
    if (CConfigReader::readObject(root, "stats", object) == CConfigReader::E_READ_OK &&
        CConfigReader::readOptional(object, "interval", m_iStatsInterval) != 0) {
        m_iStatsInterval = 0;
    }
}
