#include "framework/CaptureFiles.h"

#include <cerrno>

#include "common/util/FileUtil.h"
#include "common/core/KsLog.h"

CCaptureFiles::CCaptureFiles(const std::string& path, int64_t fileSize, int count)
    : m_strPath(path), m_llFileSize(fileSize), m_iCount(count)
{
}

void CCaptureFiles::write(const uint8_t* records, size_t length)
{
    size_t at = 0;
    while (at < length) {
        if (!m_writer.isOpen() && openLive() != 0) {
            break;
        }
        // As many records as the live file takes.
        size_t run = 0;
        uint64_t count = 0;
        while (at + run < length &&
               static_cast<int64_t>(m_writer.size() + run + CPcapWriter::storedLength(records + at + run)) <=
                   m_llFileSize) {
            run += CPcapWriter::storedLength(records + at + run);
            ++count;
        }
        if (run > 0) {
            if (append(records + at, run, count) != 0) {
                at += run;
                break;
            }
            at += run;
        } else if (m_writer.size() > CPcapWriter::FILE_HEADER_LEN) {
            m_writer.close();
            m_bRotate = true;
        } else {
            // Larger than a whole file.
            at += CPcapWriter::storedLength(records + at);
            ++m_ullLost;
        }
    }
    for (; at < length; at += CPcapWriter::storedLength(records + at)) {
        ++m_ullLost;
    }
}

int CCaptureFiles::openLive()
{
    if (m_bRotate) {
        // A recording of an earlier run may end with half a record.
        if (!m_bStarted && m_writer.reopen(m_strPath) == 0) {
            m_writer.close();
        }
        m_bStarted = true;
        m_bRotate = false;
        CFileUtil::shiftBackups(m_strPath, m_iCount);
    }
    if (m_writer.reopen(m_strPath) == 0 || m_writer.open(m_strPath) == 0) {
        return 0;
    }
    fail();
    return -1;
}

int CCaptureFiles::append(const uint8_t* records, size_t length, uint64_t count)
{
    const uint64_t before = m_writer.size();
    if (m_writer.append(records, length) == 0) {
        m_ullWritten += count;
        if (m_bPaused) {
            m_bPaused = false;
            KS_LOG_ERROR("The recording is resumed, file:" << m_strPath);
        }
        return 0;
    }
    const int error = errno;
    const uint64_t kept = m_writer.isOpen() ? m_writer.size() - before : 0;
    for (size_t at = 0; at < kept; at += CPcapWriter::storedLength(records + at)) {
        ++m_ullWritten;
        --count;
    }
    m_ullLost += count;
    errno = error;
    fail();
    return -1;
}

void CCaptureFiles::fail()
{
    if (!m_bPaused) {
        m_bPaused = true;
        KS_LOG_ERROR("Fail to write the recording " << m_strPath << ", errno:" << errno
                                                    << ", the recording is paused.");
    }
    m_writer.close();
}
