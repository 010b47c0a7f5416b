#include "SimReplay.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <poll.h>

#include "AnswerCompare.h"
#include "AppMessageText.h"
#include "CaptureReader.h"
#include "SimArgs.h"
#include "SimConfig.h"
#include "SimStop.h"
#include "XoltFrameText.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

using quelby::protocol::QuelbyMessage;

namespace {

constexpr int64_t DEFAULT_WAIT_MS = 1000;
constexpr size_t MAX_DATAGRAM = 65536;
constexpr size_t WIRE_MSGID = offsetof(xolt_message_head_t, msgid) - offsetof(xolt_message_head_t, magic);
const char* const SIDE_NAMES[] = {"radio side", "App"};

// "X,R,P,A" into four port numbers.
bool parsePorts(const std::string& text, uint16_t (&ports)[4])
{
    size_t start = 0;
    for (int i = 0; i < 4; ++i) {
        const size_t comma = text.find(',', start);
        if ((i < 3) == (comma == std::string::npos)) {
            return false;
        }
        int64_t port = 0;
        if (!CSimArgs::parseInt(text.substr(start, comma - start), 1, 65535, port)) {
            return false;
        }
        ports[i] = static_cast<uint16_t>(port);
        start = comma + 1;
    }
    return true;
}

// The datagram's frames, one decoded line each, then its bytes in hex.
std::string frameText(const std::string& direction, const std::vector<uint8_t>& bytes)
{
    xolt_message_head_t buffer{};
    xolt_status_t status{};
    xolt_message_head_t message{};
    std::string out;
    for (uint8_t c : bytes) {
        const uint8_t result = xolt_frame_char_buffer(&buffer, &status, c, &message);
        if (result == XOLT_FRAMING_OK || result == XOLT_FRAMING_BAD_CRC) {
            out += direction + CXoltFrameText::describe(message) +
                   (result == XOLT_FRAMING_BAD_CRC ? " (bad CRC)\n" : "\n");
        }
    }
    if (out.empty()) {
        out = direction + "not a link frame (" + std::to_string(bytes.size()) + " bytes)\n";
    }
    return out + "    " + CXoltFrameText::hex(bytes.data(), bytes.size()) + "\n";
}

bool parseEnvelope(const std::vector<uint8_t>& bytes, QuelbyMessage& out)
{
    return out.ParseFromArray(bytes.data(), static_cast<int>(bytes.size())) && out.has_head_data();
}

} // namespace

void CSimReplay::printHelp(FILE* out)
{
    fprintf(out, "usage: lumbrix-sim replay [options] CAPTURE...\n"
                 "\n"
                 "Sends the traffic of a capture (pcap or pcapng, e.g. from tcpdump -i lo on the\n"
                 "controller) to a running gateway again: every UDP datagram that went to the\n"
                 "gateway's link or App service, in order, from where the radio side and the App\n"
                 "send, with the original spacing. Listens where the gateway's clients send and\n"
                 "prints every answer decoded, then a summary. Several captures (one per\n"
                 "simulator process, say) are merged by time. A datagram goes out only once the\n"
                 "answers recorded before it have come, or --wait has passed.\n"
                 "\n"
                 "options:\n"
                 "  --gateway-config FILE   the running gateway's configuration: where to send and\n"
                 "                          listen (default: the addresses of config/lumbrix.json)\n"
                 "  --capture-ports X,R,P,A the ports in the capture: link service, radio side, App\n"
                 "                          service, App (default: those of the gateway configuration)\n"
                 "  --capture-config FILE   the same ports from the configuration of the gateway that\n"
                 "                          made the capture (its own recording, say)\n"
                 "  --speed X               spacing divided by X (default 1); 0: no spacing at all\n"
                 "  --wait MS               how long to wait for answers before going on (default 1000)\n"
                 "  --compare               check every answer against the one recorded at the same\n"
                 "                          place (the n-th to each side): frames byte for byte apart\n"
                 "                          from sequence, header checksum and CRC, App messages field\n"
                 "                          by field apart from time_stamp; exit code 1 on a\n"
                 "                          difference or a missing or extra answer\n"
                 "  --help                  this text\n"
                 "\n"
                 "Exit code 0 when replayed (and, with --compare, every answer as recorded), 1 on a\n"
                 "difference, 2 for a bad command line, an unreadable capture or a busy port.\n"
                 "\n"
                 "examples:\n"
                 "  lumbrix-sim replay field.pcap\n"
                 "  lumbrix-sim replay --gateway-config lumbrix.json --speed 0 --compare field.pcapng\n");
}

int CSimReplay::configure(CSimArgs& args)
{
    const std::string config = args.value("gateway-config");
    sockaddr_in listen[E_SIDES]{};
    std::string error;
    if (CSimConfig::addresses(config, CSimConfig::E_SIDE_RADIO, listen[E_RADIO], m_service[E_RADIO], error) != 0 ||
        CSimConfig::addresses(config, CSimConfig::E_SIDE_APP, listen[E_APP], m_service[E_APP], error) != 0 ||
        args.intValue("wait", 1, 3600000, DEFAULT_WAIT_MS, m_iWaitMs) != 0) {
        fprintf(stderr, "lumbrix-sim replay: %s\n", error.empty() ? args.error().c_str() : error.c_str());
        return -1;
    }
    if (args.has("speed")) {
        char* end = nullptr;
        const std::string text = args.value("speed");
        m_dSpeed = strtod(text.c_str(), &end);
        if (text.empty() || *end != '\0' || !(m_dSpeed >= 0 && m_dSpeed <= 1e6)) {
            fprintf(stderr, "lumbrix-sim replay: option --speed: '%s' is not a number from 0 to 1000000\n",
                    text.c_str());
            return -1;
        }
    }
    uint16_t ports[4] = {ntohs(m_service[E_RADIO].sin_port), ntohs(listen[E_RADIO].sin_port),
                         ntohs(m_service[E_APP].sin_port), ntohs(listen[E_APP].sin_port)};
    sockaddr_in captured[2][E_SIDES]{};
    if (args.has("capture-config") && (CSimConfig::addresses(args.value("capture-config"), CSimConfig::E_SIDE_RADIO,
                                                             captured[0][E_RADIO], captured[1][E_RADIO], error) != 0 ||
                                       CSimConfig::addresses(args.value("capture-config"), CSimConfig::E_SIDE_APP,
                                                             captured[0][E_APP], captured[1][E_APP], error) != 0)) {
        fprintf(stderr, "lumbrix-sim replay: %s\n", error.c_str());
        return -1;
    }
    if (args.has("capture-config")) {
        const uint16_t fromConfig[4] = {ntohs(captured[1][E_RADIO].sin_port), ntohs(captured[0][E_RADIO].sin_port),
                                        ntohs(captured[1][E_APP].sin_port), ntohs(captured[0][E_APP].sin_port)};
        std::copy(fromConfig, fromConfig + 4, ports);
    }
    if (args.has("capture-ports") && !parsePorts(args.value("capture-ports"), ports)) {
        fprintf(stderr, "lumbrix-sim replay: option --capture-ports: '%s' is not four port numbers X,R,P,A\n",
                args.value("capture-ports").c_str());
        return -1;
    }
    m_usCapturePort[E_RADIO][0] = ports[0];
    m_usCapturePort[E_RADIO][1] = ports[1];
    m_usCapturePort[E_APP][0] = ports[2];
    m_usCapturePort[E_APP][1] = ports[3];
    m_bCompare = args.has("compare");
    for (int side = 0; side < E_SIDES; ++side) {
        if (m_socket[side].bind(listen[side], error) != 0) {
            fprintf(stderr, "lumbrix-sim replay: %s (is a simulator listening there?)\n", error.c_str());
            return -1;
        }
    }
    return 0;
}

int CSimReplay::run(int argc, char** argv)
{
    CSimArgs args({"gateway-config", "capture-ports", "capture-config", "speed", "wait"}, {"compare"});
    if (args.parse(argc, argv) != 0) {
        fprintf(stderr, "lumbrix-sim replay: %s (see lumbrix-sim replay --help)\n", args.error().c_str());
        return 2;
    }
    if (args.has("help")) {
        printHelp(stdout);
        return 0;
    }
    if (args.positionals().empty()) {
        fprintf(stderr, "lumbrix-sim replay: no capture file given (see lumbrix-sim replay --help)\n");
        return 2;
    }
    if (configure(args) != 0 || load(args.positionals()) != 0) {
        return 2;
    }
    const int64_t start = CSimStop::nowMs();
    replay();
    printSummary(CSimStop::nowMs() - start);
    return m_bCompare ? compare() : 0;
}

int CSimReplay::load(const std::vector<std::string>& files)
{
    std::vector<TCapturedDatagram> all;
    for (const std::string& file : files) {
        CCaptureReader::TCounts counts;
        std::string error;
        if (CCaptureReader::read(file, all, counts, error) != 0) {
            fprintf(stderr, "lumbrix-sim replay: %s\n", error.c_str());
            return -1;
        }
        printf("capture %s: %llu packets, %llu of them not UDP over IPv4 or not whole\n", file.c_str(),
               static_cast<unsigned long long>(counts.packets), static_cast<unsigned long long>(counts.skipped));
        if (!counts.damage.empty()) {
            printf("capture %s: read up to a damaged record: %s\n", file.c_str(), counts.damage.c_str());
        }
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const TCapturedDatagram& a, const TCapturedDatagram& b) { return a.timeUs < b.timeUs; });

    uint64_t other = 0;
    uint64_t early = 0;
    for (TCapturedDatagram& datagram : all) {
        const uint16_t port = ntohs(datagram.to.sin_port);
        int side = 0;
        while (side < E_SIDES && port != m_usCapturePort[side][0] && port != m_usCapturePort[side][1]) {
            ++side;
        }
        if (side == E_SIDES) {
            ++other;
        } else if (port == m_usCapturePort[side][0]) {
            m_vecInputs.push_back({datagram.timeUs,
                                   static_cast<ESide>(side),
                                   std::move(datagram.payload),
                                   {m_vecRecorded[E_RADIO].size(), m_vecRecorded[E_APP].size()}});
        } else if (m_vecInputs.empty()) {
            // An answer to something before the capture began cannot come again.
            ++early;
        } else {
            m_vecRecorded[side].push_back(std::move(datagram.payload));
        }
    }
    printf("replay: %zu datagrams to the gateway; recorded answers: %zu to the radio side, %zu to the App",
           m_vecInputs.size(), m_vecRecorded[E_RADIO].size(), m_vecRecorded[E_APP].size());
    if (early != 0) {
        printf("; %llu answers recorded before the first datagram left out", static_cast<unsigned long long>(early));
    }
    if (other != 0) {
        printf("; %llu datagrams to other ports left out", static_cast<unsigned long long>(other));
    }
    printf("\n");
    if (m_vecInputs.empty()) {
        fprintf(stderr, "lumbrix-sim replay: no datagram to port %u or %u in the capture\n",
                m_usCapturePort[E_RADIO][0], m_usCapturePort[E_APP][0]);
        return -1;
    }
    return 0;
}

void CSimReplay::replay()
{
    int64_t lastSentMs = CSimStop::nowMs();
    int64_t lastUs = m_vecInputs.front().timeUs;
    for (const TInput& input : m_vecInputs) {
        if (CSimStop::requested()) {
            return;
        }
        awaitAnswers(input.answersBefore, lastSentMs + m_iWaitMs);
        if (m_dSpeed > 0) {
            receiveUntil(lastSentMs +
                         static_cast<int64_t>(static_cast<double>(input.timeUs - lastUs) / 1000.0 / m_dSpeed));
        }
        send(input);
        lastSentMs = CSimStop::nowMs();
        lastUs = input.timeUs;
    }
    // The answers to the last datagrams; with none recorded, whatever comes
    // within the wait.
    const size_t all[E_SIDES] = {m_vecRecorded[E_RADIO].size(), m_vecRecorded[E_APP].size()};
    if (all[E_RADIO] == 0 && all[E_APP] == 0) {
        receiveUntil(lastSentMs + m_iWaitMs);
    } else {
        awaitAnswers(all, lastSentMs + m_iWaitMs);
    }
}

void CSimReplay::send(const TInput& input)
{
    if (input.from == E_RADIO) {
        fputs(frameText("radio -> gateway: ", input.bytes).c_str(), stdout);
    } else {
        QuelbyMessage envelope;
        printf("--> App request (%s)\n", parseEnvelope(input.bytes, envelope)
                                             ? CAppMessageText::summary(envelope).c_str()
                                             : "not an App envelope");
    }
    fflush(stdout);
    if (m_socket[input.from].sendTo(m_service[input.from], input.bytes.data(), input.bytes.size()) != 0) {
        fprintf(stderr, "lumbrix-sim replay: cannot send to %s\n",
                CUdpPeer::addressText(m_service[input.from]).c_str());
    }
    ++m_mapSent[label(input.from, input.bytes)];
}

void CSimReplay::awaitAnswers(const size_t counts[E_SIDES], int64_t deadlineMs)
{
    while (!CSimStop::requested() &&
           (m_vecReceived[E_RADIO].size() < counts[E_RADIO] || m_vecReceived[E_APP].size() < counts[E_APP])) {
        const int64_t left = deadlineMs - CSimStop::nowMs();
        if (left <= 0) {
            return;
        }
        receiveOnce(static_cast<int>(left));
    }
}

void CSimReplay::receiveUntil(int64_t deadlineMs)
{
    while (!CSimStop::requested()) {
        const int64_t left = deadlineMs - CSimStop::nowMs();
        if (left <= 0) {
            return;
        }
        receiveOnce(static_cast<int>(left));
    }
}

void CSimReplay::receiveOnce(int timeoutMs)
{
    pollfd fds[E_SIDES] = {{m_socket[E_RADIO].descriptor(), POLLIN, 0}, {m_socket[E_APP].descriptor(), POLLIN, 0}};
    if (poll(fds, E_SIDES, timeoutMs) <= 0) {
        return;
    }
    static uint8_t s_datagram[MAX_DATAGRAM];
    for (int side = 0; side < E_SIDES; ++side) {
        if ((fds[side].revents & POLLIN) == 0) {
            continue;
        }
        sockaddr_in from{};
        const int n = m_socket[side].receive(s_datagram, sizeof(s_datagram), 0, from);
        if (n > 0) {
            onAnswer(static_cast<ESide>(side), s_datagram, static_cast<size_t>(n));
        }
    }
}

void CSimReplay::onAnswer(ESide side, const uint8_t* data, size_t length)
{
    m_vecReceived[side].emplace_back(data, data + length);
    const std::vector<uint8_t>& bytes = m_vecReceived[side].back();
    ++m_mapAnswered[label(side, bytes)];
    if (side == E_RADIO) {
        fputs(frameText("gateway -> radio: ", bytes).c_str(), stdout);
    } else {
        QuelbyMessage envelope;
        if (parseEnvelope(bytes, envelope)) {
            printf("<-- message (%s)\n%s", CAppMessageText::summary(envelope).c_str(),
                   CAppMessageText::describe(envelope, false).c_str());
        } else {
            printf("<-- a datagram of %zu bytes that is not an App envelope\n", length);
        }
    }
    fflush(stdout);
}

std::string CSimReplay::label(ESide side, const std::vector<uint8_t>& bytes)
{
    if (side == E_RADIO) {
        if (bytes.size() > WIRE_MSGID && bytes[0] == XOLT_STX) {
            return "link msgid " + std::to_string(bytes[WIRE_MSGID]);
        }
        return "link (not a frame)";
    }
    QuelbyMessage envelope;
    if (!parseEnvelope(bytes, envelope)) {
        return "App (not an envelope)";
    }
    const uint32_t id = static_cast<uint32_t>(envelope.head_data().message_id());
    return "App " + CAppMessageText::messageName(id) + " (" + std::to_string(id) + ")";
}

void CSimReplay::printSummary(int64_t elapsedMs) const
{
    size_t sent[E_SIDES] = {};
    for (const TInput& input : m_vecInputs) {
        ++sent[input.from];
    }
    printf("\nreplay: sent %zu datagrams in %lld ms (%zu link frames, %zu App requests); answered with %zu "
           "frames to the radio side (%zu recorded) and %zu App messages (%zu recorded)\n",
           sent[E_RADIO] + sent[E_APP], static_cast<long long>(elapsedMs), sent[E_RADIO], sent[E_APP],
           m_vecReceived[E_RADIO].size(), m_vecRecorded[E_RADIO].size(), m_vecReceived[E_APP].size(),
           m_vecRecorded[E_APP].size());
    for (const auto& entry : m_mapSent) {
        printf("  sent      %-56s %llu\n", entry.first.c_str(), static_cast<unsigned long long>(entry.second));
    }
    for (const auto& entry : m_mapAnswered) {
        printf("  answered  %-56s %llu\n", entry.first.c_str(), static_cast<unsigned long long>(entry.second));
    }
}

int CSimReplay::compare() const
{
    size_t differences = 0;
    size_t compared = 0;
    for (int side = 0; side < E_SIDES; ++side) {
        const auto& recorded = m_vecRecorded[side];
        const auto& received = m_vecReceived[side];
        const size_t common = std::min(recorded.size(), received.size());
        for (size_t i = 0; i < common; ++i) {
            std::string difference;
            const bool same = side == E_RADIO ? CAnswerCompare::sameFrame(recorded[i], received[i], difference)
                                              : CAnswerCompare::sameEnvelope(recorded[i], received[i], difference);
            ++compared;
            if (same) {
                continue;
            }
            ++differences;
            printf("compare: answer %zu to the %s (%s) differs from the recorded one:%s%s\n", i + 1, SIDE_NAMES[side],
                   label(static_cast<ESide>(side), received[i]).c_str(), difference.compare(0, 1, "\n") == 0 ? "" : " ",
                   difference.c_str());
            if (side == E_RADIO) {
                printf("    recorded: %s\n    replayed: %s\n",
                       CXoltFrameText::hex(recorded[i].data(), recorded[i].size()).c_str(),
                       CXoltFrameText::hex(received[i].data(), received[i].size()).c_str());
            }
        }
        if (recorded.size() > common) {
            differences += recorded.size() - common;
            printf("compare: %zu recorded answers to the %s did not come (from answer %zu on, the first %s)\n",
                   recorded.size() - common, SIDE_NAMES[side], common + 1,
                   label(static_cast<ESide>(side), recorded[common]).c_str());
        }
        if (received.size() > common) {
            differences += received.size() - common;
            printf("compare: %zu answers to the %s more than recorded (from answer %zu on, the first %s)\n",
                   received.size() - common, SIDE_NAMES[side], common + 1,
                   label(static_cast<ESide>(side), received[common]).c_str());
        }
    }
    if (differences == 0) {
        printf("compare: all %zu answers as recorded\n", compared);
        return 0;
    }
    printf("compare: differences: %zu (answers recorded: %zu)\n", differences,
           m_vecRecorded[E_RADIO].size() + m_vecRecorded[E_APP].size());
    return 1;
}
