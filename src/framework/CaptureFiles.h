#ifndef LUMBRIX_CAPTURE_FILES_H
#define LUMBRIX_CAPTURE_FILES_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "common/util/PcapWriter.h"

// The recording on disk: a live capture file and its numbered backups
// (path, path.1 ... path.(count-1)). The live file is moved to path.1 (and
// the backups along) before a record would take it past fileSize, so the
// recording never takes more than fileSize x count bytes; a recording left
// by an earlier run goes to path.1 at the first write, cut back to its last
// whole record.
//
// A disk that fails (full, gone, not writable) pauses the recording with
// one Error line; the records of that moment are lost and counted, the next
// write tries again, and the first one that succeeds logs one line. Used by
// the recorder thread only.
class CCaptureFiles {
public:
    CCaptureFiles(const std::string& path, int64_t fileSize, int count);

    // Writes a run of whole records.
    void write(const uint8_t* records, size_t length);

    const std::string& path() const { return m_strPath; }
    uint64_t written() const { return m_ullWritten; }
    uint64_t lost() const { return m_ullLost; }

private:
    // Opens the live file, a new one after a rotation (or at the start),
    // the existing one to go on with after a failure. 0 or -1.
    int openLive();
    // Appends records (whole, fitting the live file). 0 or -1.
    int append(const uint8_t* records, size_t length, uint64_t count);
    // Logs the pause once and closes the live file.
    void fail();

    CPcapWriter m_writer;
    const std::string m_strPath;
    const int64_t m_llFileSize;
    const int m_iCount;
    bool m_bStarted = false;
    bool m_bRotate = true;
    bool m_bPaused = false;
    uint64_t m_ullWritten = 0;
    uint64_t m_ullLost = 0;
};

#endif
