#ifndef LUMBRIX_SIM_RADIO_H
#define LUMBRIX_SIM_RADIO_H

#include <cstdint>
#include <cstdio>
#include <netinet/in.h>
#include <string>
#include <vector>

#include "common/util/PcapWriter.h"
#include "kit/UdpPeer.h"
#include "msgHandle/XoltProtocol.h"

class CSimArgs;

// The radio side as the gateway meets it: listens where the gateway's
// "transmit" client sends, and answers each frame as the RC firmware and the
// nest do (RC settings answers from the values it remembers, calibration
// results, the system-time acknowledgement, nest acknowledgements, the
// pairing answer with progress reports, the version answer). On request it
// also sends periodic reports: stick state, RC state, key events and nest
// reports. Every frame in and out is printed with its hex bytes. Owns its
// socket, its receive parser state and its transmit sequence counter.
class CSimRadio {
public:
    static void printHelp(FILE* out);
    // Runs the mode with the words after "radio"; returns the exit code.
    int run(int argc, char** argv);

private:
    // A frame waiting for its time to be sent (pairing progress), with
    // its transcript text.
    struct TPending {
        int64_t dueMs;
        std::vector<uint8_t> bytes;
        std::string text;
    };

    int configure(CSimArgs& args);
    void receiveDatagram(const uint8_t* data, int length);
    void onFrame(const xolt_message_head_t& frame);
    void answerRcSettings(const uint8_t* payload);
    void answerNestCommand(const uint8_t* payload);
    void answerAtCommand(const uint8_t* payload);
    void answerVersions();
    void sendReportRound();
    void sendBadCrcFrame();

    // Builds a frame from the radio side (destid DEV_APP) with the msgid's
    // CRC extra; sends it now, or after delayMs.
    void send(uint8_t msgid, uint8_t sourceid, const uint8_t* payload, uint16_t length, int delayMs = 0);
    // Prints text and sends the frame.
    void sendBytes(const std::string& text, const uint8_t* bytes, size_t length);
    void sendDue(int64_t nowMs);

    CUdpPeer m_socket;
    CPcapWriter m_capture;
    sockaddr_in m_gateway{};
    int64_t m_iReportPeriodMs = 0;
    int64_t m_iRounds = 0;
    int64_t m_iRoundsSent = 0;
    int64_t m_iDurationMs = 0;
    bool m_bBadCrc = false;

    // What the firmware remembers between requests.
    int m_iGimbalSpeed = 50;
    int m_iRockerMode = 1;
    bool m_bStickUpload = false;

    uint8_t m_ucTxSeq = 0;
    xolt_message_head_t m_rxBuffer{};
    xolt_status_t m_rxStatus{};
    xolt_message_head_t m_rxMessage{};
    std::vector<TPending> m_vecPending;
    uint64_t m_ulFramesIn = 0;
    uint64_t m_ulFramesOut = 0;
};

#endif
