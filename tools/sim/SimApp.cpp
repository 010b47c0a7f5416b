#include "SimApp.h"

#include <chrono>
#include <climits>
#include <string>
#include <unistd.h>

#include "AppCommand.h"
#include "AppMessageText.h"
#include "SimArgs.h"
#include "SimConfig.h"
#include "SimStop.h"
#include "kit/SampleTraffic.h"

using namespace quelby::protocol;

namespace {

constexpr size_t MAX_DATAGRAM = 65536;

const char* const ABOUT = "Stands in for the App: sends one request to the gateway's protobuf service,\n"
                          "waits where the gateway's \"app\" client sends for the answer carrying the\n"
                          "request's sequence, and prints both in protobuf text format. Exit code 0 on\n"
                          "an answer, 1 when none came within --timeout, 2 for a bad command line.\n"
                          "Other messages that arrive meanwhile are noted on standard error.\n";

const char* const EXAMPLES = "\nexamples:\n"
                             "  lumbrix-sim app get-param gimbal-speed\n"
                             "  lumbrix-sim app set-param rocker-mode 2\n"
                             "  lumbrix-sim app nest cabin 1 2\n"
                             "  lumbrix-sim app --follow 500 pair\n";

} // namespace

int CSimApp::run(int argc, char** argv)
{
    CSimArgs args(
        "app", "[options] COMMAND [ARGUMENTS]", ABOUT,
        {{"config", "FILE", "take both addresses from a gateway configuration file"},
         {"listen", "IP:PORT", "where to listen (default 127.0.0.1:25201, the app client's peer)"},
         {"gateway", "IP:PORT", "the gateway's protobuf service (default 127.0.0.1:25200)"},
         {"seq", "N", "the request's message_sequence (default: from the process id)", INT32_MIN, INT32_MAX,
          getpid() % 30000 + 1},
         {"timeout", "MS", "how long to wait for the answer (default 2000)", 1, 3600000, 2000},
         {"follow", "MS", "after the answer, print every further message for MS ms", 1, 3600000},
         {"head-type", "N", "send with this head_type instead of 1 (request)", INT32_MIN, INT32_MAX, HEAD_TYPE_REQUEST},
         {"duration", "MS", "listen: how long (default 5000)", 1, 86400000, 5000},
         {"count", "N", "listen: stop after N messages", 1, 1000000},
         {"pcap", "FILE", "also write every datagram in and out to a capture file"}});
    const int done = args.parse(argc, argv);
    if (done >= 0) {
        if (args.has("help")) {
            putchar('\n');
            CAppCommand::printCommands(stdout);
            fputs(EXAMPLES, stdout);
        }
        return done;
    }
    const std::vector<std::string>& words = args.positionals();
    if (words.empty()) {
        return args.fail("no command given (see lumbrix-sim app --help)");
    }
    const bool listening = words.front() == "listen";
    TAppRequest request;
    std::string error;
    if (listening && words.size() != 1) {
        return args.fail("usage: listen [--duration MS] [--count N]");
    }
    if (!listening && CAppCommand::build(words, request, error) != 0) {
        return args.fail(error);
    }
    if (CSimConfig::open(args, CSimConfig::E_SIDE_APP, m_socket, m_capture, m_gateway) != 0) {
        return 2;
    }
    return listening ? listen(args.integer("duration"), args.integer("count")) : sendRequest(request, args);
}

int CSimApp::sendRequest(const TAppRequest& request, const CSimArgs& args)
{
    const int64_t sequence = args.integer("seq");
    QuelbyMessage envelope;
    fillAppEnvelope(envelope, request.messageId, static_cast<int32_t>(sequence), request.body.get(),
                    static_cast<int32_t>(args.integer("head-type")));
    envelope.mutable_head_data()->set_time_stamp(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
    const std::string bytes = envelope.SerializeAsString();
    printf("--> request to %s (%s)\n%s", CUdpPeer::addressText(m_gateway).c_str(),
           CAppMessageText::summary(envelope).c_str(), CAppMessageText::describe(envelope, true).c_str());
    if (m_socket.sendTo(m_gateway, reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()) != 0) {
        return args.fail("cannot send to " + CUdpPeer::addressText(m_gateway));
    }
    const int64_t sent = CSimStop::nowMs();
    bool answered = request.answerId == 0;
    if (answered) {
        printf("(no answer expected: the gateway forwards it without an answer)\n");
    }
    QuelbyMessage answer;
    while (!answered && receiveEnvelope(sent + args.integer("timeout"), answer)) {
        const CommonHead& head = answer.head_data();
        answered = head.head_type() == HEAD_TYPE_RESPONSE &&
                   static_cast<uint32_t>(head.message_id()) == request.answerId && head.message_sequence() == sequence;
        if (answered) {
            printf("<-- answer after %lld ms (%s)\n%s", static_cast<long long>(CSimStop::nowMs() - sent),
                   CAppMessageText::summary(answer).c_str(), CAppMessageText::describe(answer, false).c_str());
        } else {
            fprintf(stderr, "(not the answer: %s)\n", CAppMessageText::summary(answer).c_str());
        }
    }
    if (!answered) {
        fprintf(stderr,
                "lumbrix-sim app: no answer with message_id %s and sequence %lld within %lld ms (is the gateway up "
                "at %s, and the radio side answering?)\n",
                CAppMessageText::messageName(request.answerId).c_str(), static_cast<long long>(sequence),
                static_cast<long long>(args.integer("timeout")), CUdpPeer::addressText(m_gateway).c_str());
        return 1;
    }
    if (args.integer("follow") != 0) {
        listen(args.integer("follow"), 0);
    }
    return 0;
}

int CSimApp::listen(int64_t durationMs, int64_t count)
{
    const int64_t deadline = CSimStop::nowMs() + durationMs;
    int64_t received = 0;
    QuelbyMessage envelope;
    while ((count == 0 || received < count) && receiveEnvelope(deadline, envelope)) {
        ++received;
        printf("<-- message (%s)\n%s", CAppMessageText::summary(envelope).c_str(),
               CAppMessageText::describe(envelope, false).c_str());
    }
    if (count != 0 && received < count) {
        fprintf(stderr, "lumbrix-sim app: %lld of %lld messages within %lld ms\n", static_cast<long long>(received),
                static_cast<long long>(count), static_cast<long long>(durationMs));
        return 1;
    }
    return received != 0 ? 0 : 1;
}

bool CSimApp::receiveEnvelope(int64_t deadlineMs, QuelbyMessage& out)
{
    static uint8_t s_datagram[MAX_DATAGRAM];
    for (int64_t left = deadlineMs - CSimStop::nowMs(); left > 0 && !CSimStop::requested();
         left = deadlineMs - CSimStop::nowMs()) {
        sockaddr_in from{};
        const int n = m_socket.receive(s_datagram, sizeof(s_datagram), static_cast<int>(left), from);
        if (n <= 0) {
            continue;
        }
        out.Clear();
        if (out.ParseFromArray(s_datagram, n) && out.has_head_data()) {
            return true;
        }
        fprintf(stderr, "(a datagram of %d bytes from %s that is not an App envelope)\n", n,
                CUdpPeer::addressText(from).c_str());
    }
    return false;
}
