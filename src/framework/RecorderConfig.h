#ifndef LUMBRIX_RECORDER_CONFIG_H
#define LUMBRIX_RECORDER_CONFIG_H

#include <cstdint>
#include <string>

// The optional "record" and "stats" objects of the gateway's configuration:
// a recording of every datagram the gateway receives and sends, and
// counter lines in the log. Both are off unless asked for. Their keys are
// read like those of "log": a missing key keeps its default and logs "the
// key is not exist", a value of the wrong type logs "the value type is
// invalid" and leaves that feature off.
class CRecorderConfig {
public:
    // Reads both objects from the configuration (a file path or the JSON
    // text itself). Nothing is logged when neither is there.
    void load(const std::string& fileOrText);

    bool recording() const { return m_bRecordEnable; }
    bool counting() const { return m_iStatsInterval > 0; }

    bool m_bRecordEnable = false;
    // Default: lumbrix.pcap in the directory of the live log file.
    std::string m_strRecordFile;
    int32_t m_iRecordFileSize = 8388608;
    // The live file and its numbered backups; below 2 counts as 2.
    int32_t m_iRecordFileCnt = 4;
    // Seconds between two rounds of counter lines; 0 or less: none.
    int32_t m_iStatsInterval = 0;
};

#endif
