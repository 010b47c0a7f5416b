#ifndef LUMBRIX_SIM_RADIO_H
#define LUMBRIX_SIM_RADIO_H

#include <cstdint>
#include <map>
#include <netinet/in.h>
#include <string>
#include <vector>

#include "common/util/PcapWriter.h"
#include "kit/UdpPeer.h"
#include "msgHandle/XoltProtocol.h"

// The radio side as the gateway meets it: listens where the gateway's
// "transmit" client sends, and answers each frame as the RC firmware and the
// nest do (RC settings answers from the values it remembers, calibration
// results, the system-time acknowledgement, nest acknowledgements, the
// pairing answer with progress reports, the version answer). On request it
// also sends periodic reports: stick state, RC state, key events and nest
// reports. Every frame in and out is printed with its hex bytes. Owns its
// socket and its transmit sequence counter.
class CSimRadio {
public:
    // Runs the mode with the words after "radio"; returns the exit code.
    int run(int argc, char** argv);

private:
    // Prints the frames the gateway sent and answers each good one.
    void onDatagram(const uint8_t* data, size_t length);
    void answer(const xolt_message_head_t& frame);
    void answerRcSettings(const uint8_t* payload);
    void sendReportRound();
    // Builds a frame from the radio side (sourceid, to DEV_APP, closed with
    // the msgid's CRC extra) and sends it now, or after delayMs.
    void send(uint8_t msgid, uint8_t sourceid, const std::vector<uint8_t>& payload, int delayMs = 0);
    // Prints the frame and sends it.
    void sendNow(const std::string& bytes);

    CUdpPeer m_socket;
    CPcapWriter m_capture;
    sockaddr_in m_gateway{};
    int64_t m_iReportPeriodMs = 0;
    int64_t m_iRoundsSent = 0;

    // What the firmware remembers between requests.
    int m_iGimbalSpeed = 50;
    int m_iRockerMode = 1;
    bool m_bStickUpload = false;

    uint8_t m_ucTxSeq = 0;
    std::multimap<int64_t, std::string> m_mapPending; // frames by the time they are due (pairing progress, say)
    uint64_t m_ulFramesIn = 0;
    uint64_t m_ulFramesOut = 0;
};

#endif
