#ifndef LUMBRIX_SIM_REPLAY_H
#define LUMBRIX_SIM_REPLAY_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <netinet/in.h>
#include <string>
#include <vector>

#include "kit/UdpPeer.h"

class CSimArgs;

// A capture replayed against a running gateway: the datagrams the capture
// shows going to the gateway's two services are sent to it again, in order
// and with their original spacing (scaled, or none), from where the radio
// side and the App send; every answer that arrives where the gateway's
// clients send is printed decoded. With --compare each answer is checked
// against the answer the capture recorded at the same place: the n-th answer
// to the radio side against the n-th recorded one, the same for the App.
// A datagram is sent only once the answers recorded before it have come (or
// the wait has passed), so the gateway sees the traffic in the recorded
// order however fast or slow it runs. Owns the two sockets and the loaded
// traffic.
class CSimReplay {
public:
    static void printHelp(FILE* out);
    // Runs the mode with the words after "replay"; returns the exit code.
    int run(int argc, char** argv);

private:
    // Where the gateway's clients send: the radio side and the App.
    enum ESide { E_RADIO = 0, E_APP = 1, E_SIDES = 2 };

    // A datagram to the gateway, with the number of answers recorded before
    // it on each side.
    struct TInput {
        int64_t timeUs;
        ESide from;
        std::vector<uint8_t> bytes;
        size_t answersBefore[E_SIDES];
    };

    int configure(CSimArgs& args);
    int load(const std::vector<std::string>& files);
    void replay();
    void send(const TInput& input);
    // Receives until each side has at least counts answers, or deadlineMs.
    void awaitAnswers(const size_t counts[E_SIDES], int64_t deadlineMs);
    // Receives until deadlineMs.
    void receiveUntil(int64_t deadlineMs);
    void receiveOnce(int timeoutMs);
    void onAnswer(ESide side, const uint8_t* data, size_t length);
    int compare() const;
    void printSummary(int64_t elapsedMs) const;

    // "App PARAM_GET_MSG (1)" or "link msgid 150": the key of the summary.
    static std::string label(ESide side, const std::vector<uint8_t>& bytes);

    CUdpPeer m_socket[E_SIDES];
    sockaddr_in m_service[E_SIDES]{};       // the gateway's link and App services
    uint16_t m_usCapturePort[E_SIDES][2]{}; // per side: its service's port, its own port
    double m_dSpeed = 1.0;
    int64_t m_iWaitMs = 0;
    bool m_bCompare = false;

    std::vector<TInput> m_vecInputs;
    std::vector<std::vector<uint8_t>> m_vecRecorded[E_SIDES];
    std::vector<std::vector<uint8_t>> m_vecReceived[E_SIDES];
    std::map<std::string, uint64_t> m_mapSent;
    std::map<std::string, uint64_t> m_mapAnswered;
};

#endif
