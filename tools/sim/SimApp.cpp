#include "SimApp.h"

#include <chrono>
#include <string>
#include <unistd.h>

#include "AppCommand.h"
#include "AppMessageText.h"
#include "SimArgs.h"
#include "SimConfig.h"
#include "SimStop.h"

using namespace quelby::protocol;

namespace {

constexpr int64_t DEFAULT_TIMEOUT_MS = 2000;
constexpr int64_t DEFAULT_LISTEN_MS = 5000;
constexpr size_t MAX_DATAGRAM = 65536;

int64_t unixMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

} // namespace

void CSimApp::printHelp(FILE* out)
{
    fprintf(out, "usage: lumbrix-sim app [options] COMMAND [ARGUMENTS]\n"
                 "\n"
                 "Stands in for the App: sends one request to the gateway's protobuf service,\n"
                 "waits where the gateway's \"app\" client sends for the answer carrying the\n"
                 "request's sequence, and prints both in protobuf text format. Exit code 0 on\n"
                 "an answer, 1 when none came within --timeout, 2 for a bad command line.\n"
                 "Other messages that arrive meanwhile are noted on standard error.\n"
                 "\n"
                 "options:\n"
                 "  --config FILE      take both addresses from a gateway configuration file\n"
                 "  --listen IP:PORT   where to listen (default 127.0.0.1:25201, the app client's peer)\n"
                 "  --gateway IP:PORT  the gateway's protobuf service (default 127.0.0.1:25200)\n"
                 "  --seq N            the request's message_sequence (default: from the process id)\n"
                 "  --timeout MS       how long to wait for the answer (default 2000)\n"
                 "  --follow MS        after the answer, print every further message for MS ms\n"
                 "  --head-type N      send with this head_type instead of 1 (request)\n"
                 "  --duration MS      listen: how long (default 5000)\n"
                 "  --count N          listen: stop after N messages\n"
                 "  --pcap FILE        also write every datagram in and out to a capture file\n"
                 "  --help             this text\n"
                 "\n");
    CAppCommand::printCommands(out);
    fprintf(out, "\n"
                 "examples:\n"
                 "  lumbrix-sim app get-param gimbal-speed\n"
                 "  lumbrix-sim app set-param rocker-mode 2\n"
                 "  lumbrix-sim app nest cabin 1 2\n"
                 "  lumbrix-sim app --follow 500 pair\n");
}

int CSimApp::configure(CSimArgs& args)
{
    sockaddr_in listen{};
    std::string error;
    if (CSimConfig::resolve(args, CSimConfig::E_SIDE_APP, listen, m_gateway, error) != 0 ||
        args.intValue("seq", INT32_MIN, INT32_MAX, getpid() % 30000 + 1, m_iSequence) != 0 ||
        args.intValue("timeout", 1, 3600000, DEFAULT_TIMEOUT_MS, m_iTimeoutMs) != 0 ||
        args.intValue("follow", 1, 3600000, 0, m_iFollowMs) != 0 ||
        args.intValue("head-type", INT32_MIN, INT32_MAX, HEAD_TYPE_REQUEST, m_iHeadType) != 0) {
        fprintf(stderr, "lumbrix-sim app: %s\n", error.empty() ? args.error().c_str() : error.c_str());
        return -1;
    }
    if (args.has("pcap") && m_capture.open(args.value("pcap")) != 0) {
        fprintf(stderr, "lumbrix-sim app: cannot write the capture file '%s'\n", args.value("pcap").c_str());
        return -1;
    }
    if (m_socket.bind(listen, error) != 0) {
        fprintf(stderr, "lumbrix-sim app: %s (is another App listening there?)\n", error.c_str());
        return -1;
    }
    if (m_capture.isOpen()) {
        m_socket.setTap([this](const auto&... datagram) { m_capture.record(datagram...); });
    }
    return 0;
}

int CSimApp::run(int argc, char** argv)
{
    CSimArgs args({"config", "listen", "gateway", "seq", "timeout", "follow", "head-type", "duration", "count", "pcap"},
                  {});
    if (args.parse(argc, argv) != 0) {
        fprintf(stderr, "lumbrix-sim app: %s (see lumbrix-sim app --help)\n", args.error().c_str());
        return 2;
    }
    if (args.has("help")) {
        printHelp(stdout);
        return 0;
    }
    const std::vector<std::string>& words = args.positionals();
    if (words.empty()) {
        fprintf(stderr, "lumbrix-sim app: no command given (see lumbrix-sim app --help)\n");
        return 2;
    }

    if (words.front() == "listen") {
        int64_t duration = 0;
        int64_t count = 0;
        if (words.size() != 1 || args.intValue("duration", 1, 86400000, DEFAULT_LISTEN_MS, duration) != 0 ||
            args.intValue("count", 1, 1000000, 0, count) != 0) {
            fprintf(stderr, "lumbrix-sim app: %s\n",
                    words.size() != 1 ? "usage: listen [--duration MS] [--count N]" : args.error().c_str());
            return 2;
        }
        if (configure(args) != 0) {
            return 2;
        }
        return listen(duration, count);
    }

    TAppRequest request;
    std::string error;
    if (CAppCommand::build(words, request, error) != 0) {
        fprintf(stderr, "lumbrix-sim app: %s\n", error.c_str());
        return 2;
    }
    if (configure(args) != 0) {
        return 2;
    }
    return sendRequest(request);
}

int CSimApp::sendRequest(const TAppRequest& request)
{
    QuelbyMessage envelope;
    CommonHead* head = envelope.mutable_head_data();
    head->set_token("App");
    head->set_head_type(static_cast<int32_t>(m_iHeadType));
    head->set_message_id(static_cast<MessageType>(request.messageId));
    head->set_message_sequence(static_cast<int32_t>(m_iSequence));
    head->set_time_stamp(unixMs());
    if (request.body) {
        request.body->SerializeToString(envelope.mutable_data()->mutable_value());
    }
    std::string bytes;
    envelope.SerializeToString(&bytes);

    printf("--> request to %s (%s)\n%s", CUdpPeer::addressText(m_gateway).c_str(),
           CAppMessageText::summary(envelope).c_str(), CAppMessageText::describe(envelope, true).c_str());
    fflush(stdout);
    if (m_socket.sendTo(m_gateway, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()) != 0) {
        fprintf(stderr, "lumbrix-sim app: cannot send to %s\n", CUdpPeer::addressText(m_gateway).c_str());
        return 2;
    }

    const int64_t sent = CSimStop::nowMs();
    if (!request.expectAnswer) {
        printf("(no answer expected: %s)\n", request.noAnswerNote.c_str());
        fflush(stdout);
        if (m_iFollowMs != 0) {
            listen(m_iFollowMs, 0);
        }
        return 0;
    }
    const int64_t deadline = sent + m_iTimeoutMs;
    QuelbyMessage answer;
    while (!CSimStop::requested()) {
        const int64_t left = deadline - CSimStop::nowMs();
        if (left <= 0) {
            break;
        }
        if (!receiveEnvelope(static_cast<int>(left), answer)) {
            continue;
        }
        const CommonHead& h = answer.head_data();
        if (h.head_type() != HEAD_TYPE_RESPONSE || static_cast<uint32_t>(h.message_id()) != request.answerId ||
            h.message_sequence() != m_iSequence) {
            fprintf(stderr, "(not the answer: %s)\n", CAppMessageText::summary(answer).c_str());
            continue;
        }
        printf("<-- answer after %lld ms (%s)\n%s", static_cast<long long>(CSimStop::nowMs() - sent),
               CAppMessageText::summary(answer).c_str(), CAppMessageText::describe(answer, false).c_str());
        fflush(stdout);
        if (m_iFollowMs != 0) {
            listen(m_iFollowMs, 0);
        }
        return 0;
    }
    fprintf(stderr,
            "lumbrix-sim app: no answer with message_id %s and sequence %lld within %lld ms (is the gateway up at "
            "%s, and the radio side answering?)\n",
            CAppMessageText::messageName(request.answerId).c_str(), static_cast<long long>(m_iSequence),
            static_cast<long long>(m_iTimeoutMs), CUdpPeer::addressText(m_gateway).c_str());
    return 1;
}

int CSimApp::listen(int64_t durationMs, int64_t count)
{
    const int64_t deadline = CSimStop::nowMs() + durationMs;
    int64_t received = 0;
    QuelbyMessage envelope;
    while (!CSimStop::requested() && (count == 0 || received < count)) {
        const int64_t left = deadline - CSimStop::nowMs();
        if (left <= 0) {
            break;
        }
        if (!receiveEnvelope(static_cast<int>(left), envelope)) {
            continue;
        }
        ++received;
        printf("<-- message (%s)\n%s", CAppMessageText::summary(envelope).c_str(),
               CAppMessageText::describe(envelope, false).c_str());
        fflush(stdout);
    }
    if (count != 0 && received < count) {
        fprintf(stderr, "lumbrix-sim app: %lld of %lld messages within %lld ms\n", static_cast<long long>(received),
                static_cast<long long>(count), static_cast<long long>(durationMs));
        return 1;
    }
    return received != 0 ? 0 : 1;
}

bool CSimApp::receiveEnvelope(int timeoutMs, QuelbyMessage& out)
{
    static uint8_t s_datagram[MAX_DATAGRAM];
    sockaddr_in from{};
    const int n = m_socket.receive(s_datagram, sizeof(s_datagram), timeoutMs, from);
    if (n <= 0) {
        return false;
    }
    out.Clear();
    if (!out.ParseFromArray(s_datagram, n) || !out.has_head_data()) {
        fprintf(stderr, "(a datagram of %d bytes from %s that is not an App envelope)\n", n,
                CUdpPeer::addressText(from).c_str());
        return false;
    }
    return true;
}
