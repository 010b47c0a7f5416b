// Soak test of the real gateway (make soak; not registered with CTest).
//
// Sends SOAK_DATAGRAMS datagrams (default 1,000,000) to both of its ports: a
// mix of valid frames of every handled msgid, valid envelopes of every
// handled id, truncated and corrupted frames, corrupted envelopes, random
// bytes and empty datagrams. Every 64 datagrams it waits for a ping through
// each port, so that nothing is lost to full socket buffers and the run
// proceeds at the gateway's own pace. Afterwards it sends a request of every
// family and checks the answers, and it compares the gateway's resident
// memory after the first 100,000 datagrams with the memory at the end.
//
// The gateway is built to wait for ever in two places, and the mix stays
// clear of both: a rocker-mode get answer is sent only while its request is
// known to be pending (one synchronous round every 20,000 datagrams), and
// requests that push a pending queue nobody pops are sent far fewer than 128
// times per kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "GatewayHarness.h"
#include "RcCommandDefine.h"
#include "RcKeyDefine.h"
#include "SampleTraffic.h"
#include "TestMessages.h"
#include "XoltMessageDefine.h"
#include "XoltProtocol.h"
#include "quelby_protocol.pb.h"

namespace qp = quelby::protocol;

namespace {

constexpr size_t kBatch = 64;
constexpr uint64_t kMemoryBaselineAt = 100000;
constexpr uint64_t kRockerRoundEvery = 20000;
constexpr uint64_t kQueuePushEvery = 1500;
constexpr long kMostGrowthKiB = 1024;
// Enough zero bytes to end any frame the link parser may be inside of: a
// header, 512 payload bytes and a CRC.
constexpr size_t kFlushLen = 530;

uint64_t envNumber(const char* name, uint64_t fallback)
{
    const char* v = getenv(name);
    return v != nullptr && *v != '\0' ? strtoull(v, nullptr, 10) : fallback;
}

long residentKiB(pid_t pid, const char* field = "VmRSS:")
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, strlen(field), field) == 0) {
            return strtol(line.c_str() + strlen(field), nullptr, 10);
        }
    }
    return -1;
}

// The link msgids the gateway sends to the radio side.
constexpr uint8_t kSentMsgids[] = {XOLT_MSG_ID_DRONE_UTC_TIME_SYNC, XOLT_MSG_ID_NORMAL_MSG,
                                   XOLT_MSG_ID_NEST_VIRTUAL_STICK,  XOLT_MSG_ID_RC_SETTINGS,
                                   XOLT_MSG_ID_NEST_COMMON_COMMAND, XOLT_MSG_ID_AT_COMMAND,
                                   XOLT_SYSTEM_CMD_GET_VERSIONS};

// Payload length of a frame, from its header.
uint16_t payloadLength(const std::string& frame)
{
    return static_cast<uint16_t>(static_cast<uint8_t>(frame[1]) | static_cast<uint8_t>(frame[2]) << 8);
}

// Payload byte i of a frame; 0 beyond its end.
uint8_t payloadByte(const std::string& frame, size_t i)
{
    return frame.size() > XOLT_HEADER_LEN + i ? static_cast<uint8_t>(frame[XOLT_HEADER_LEN + i]) : 0;
}

uint16_t crcOf(const std::string& frame, uint8_t crcExtra)
{
    std::vector<uint8_t> covered(frame.begin() + 1, frame.end() - 2);
    covered.push_back(crcExtra);
    return referenceCrc(covered);
}

class CSoak : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(h.start("Error")) << h.output();
        m_frames = sampleRadioFrames(0);
        m_requests = sampleAppRequests(1);
        for (const TSampleMessage& f : m_frames) {
            if (f.popsWithoutLooking) {
                m_rockerAnswer = f;
            } else {
                m_bulkFrames.push_back(f);
            }
        }
        for (const TSampleMessage& r : m_requests) {
            if (r.queueKey != 0) {
                if (r.queueKey != qp::PARAM_GET_MSG) {
                    m_pushingRequests.push_back(r);
                } else if (r.answerSub == RC_CMD_GET_MODE) {
                    m_rockerRequest = r;
                }
            } else {
                m_bulkRequests.push_back(r);
                if (r.id != qp::PARAM_GET_MSG && r.id != qp::PARAM_SET_MSG) {
                    m_corruptibleRequests.push_back(r);
                }
            }
        }
        // Pings: a rocker-mode set to 0xEE through the App port, a zoom-in
        // with wheel value 0xEE through the link port; nothing else carries
        // 0xEE there, and the link ping first ends any frame left open.
        qp::DroneParamMessageRequest set;
        qp::DroneParamsRequest* param = set.add_params_list();
        param->set_param_id(qp::RC_ROCKER_CONTROL_MODE_MSG);
        param->set_param_type(qp::INT32);
        qp::ParameterInt32 value;
        value.set_value(0xEE);
        param->mutable_data()->set_value(value.SerializeAsString());
        m_appPing = appEnvelope(qp::PARAM_SET_MSG, 1, &set);
        const std::vector<uint8_t> zoomIn = bytes({XOLT_RC_KEY_ZOOM_IN, 1, 0xEE, 2, 0, 0, 0, 0});
        m_radioPing = std::string(kFlushLen, '\0') + radioSideFrame(0, DEV_RC, XOLT_MSG_ID_RC_KEY, zoomIn);
    }

    // --- what goes out ---------------------------------------------------

    void send(bool toRadioSide, const std::string& bytes, const char* kind)
    {
        if (toRadioSide) {
            h.sendFrame(bytes);
        } else {
            h.sendEnvelope(bytes);
        }
        ++m_sent[std::string(toRadioSide ? "link  " : "app   ") + kind];
        ++m_datagrams;
    }

    std::string randomBytes(size_t len)
    {
        std::string s(len, '\0');
        for (char& c : s) {
            c = static_cast<char>(m_rng() & 0xFF);
        }
        return s;
    }

    std::string corrupted(std::string s)
    {
        const int changes = 1 + static_cast<int>(m_rng() % 3);
        for (int i = 0; i < changes; ++i) {
            char& c = s[m_rng() % s.size()];
            c = static_cast<char>(c ^ (1 + m_rng() % 255));
        }
        return s;
    }

    template <typename T>
    const T& pick(const std::vector<T>& v)
    {
        return v[m_rng() % v.size()];
    }

    void sendOneOfTheMix()
    {
        const unsigned roll = m_rng() % 100;
        if (roll < 30) {
            send(true, pick(m_bulkFrames).bytes, "valid frame");
        } else if (roll < 50) {
            send(false, pick(m_bulkRequests).bytes, "valid envelope");
        } else if (roll < 60) {
            const std::string& f = pick(m_bulkFrames).bytes;
            send(true, f.substr(0, 1 + m_rng() % (f.size() - 1)), "truncated frame");
        } else if (roll < 70) {
            send(true, corrupted(pick(m_bulkFrames).bytes), "corrupted frame");
        } else if (roll < 75) {
            send(false, corrupted(pick(m_corruptibleRequests).bytes), "corrupted envelope");
        } else if (roll < 95) {
            const bool toRadio = (m_rng() & 1) != 0;
            send(toRadio, randomBytes(1 + m_rng() % 600), "random bytes");
        } else {
            send((m_rng() & 1) != 0, std::string(), "empty");
        }
    }

    // --- what comes back -------------------------------------------------

    void count(bool fromRadioSide, const std::string& bytes)
    {
        if (fromRadioSide) {
            const bool sound = bytes.size() >= XOLT_NUM_NON_PAYLOAD_BYTES &&
                               static_cast<uint8_t>(bytes[0]) == XOLT_STX &&
                               bytes.size() == XOLT_NUM_NON_PAYLOAD_BYTES + static_cast<size_t>(payloadLength(bytes));
            if (!sound) {
                ++m_brokenOutputs;
                return;
            }
            const uint8_t msgid = static_cast<uint8_t>(bytes[6]);
            const uint16_t sent = static_cast<uint16_t>(static_cast<uint8_t>(bytes[bytes.size() - 2]) |
                                                        static_cast<uint8_t>(bytes[bytes.size() - 1]) << 8);
            // The set-gimbal-speed request closes its CRC differently on purpose.
            const bool known = std::count(std::begin(kSentMsgids), std::end(kSentMsgids), msgid) != 0;
            const bool gimbalSpeed =
                msgid == XOLT_MSG_ID_RC_SETTINGS && sent == crcOf(bytes, XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED);
            if (!known || (sent != crcOf(bytes, xolt_message_crcs[msgid]) && !gimbalSpeed)) {
                ++m_brokenOutputs;
            }
            ++m_cameOut["frame msgid " + std::to_string(msgid)];
        } else {
            qp::QuelbyMessage envelope;
            if (!parseEnvelope(bytes, envelope)) {
                ++m_brokenOutputs;
                return;
            }
            char id[32];
            snprintf(id, sizeof(id), "0x%X", static_cast<unsigned>(envelope.head_data().message_id()));
            ++m_cameOut[std::string("envelope ") + id];
        }
    }

    static bool isAppPingAnswer(const std::string& frame)
    {
        return isRcSettingsRequest(frame, RC_CMD_SET_MODE) && payloadByte(frame, 2) == 0xEE;
    }

    static bool isRcSettingsRequest(const std::string& frame, uint8_t command)
    {
        return frame.size() == XOLT_NUM_NON_PAYLOAD_BYTES + XOLT_MSG_LEN_RC_SETTINGS &&
               static_cast<uint8_t>(frame[6]) == XOLT_MSG_ID_RC_SETTINGS && payloadByte(frame, 0) == command;
    }

    bool isRadioPingAnswer(const std::string& bytes)
    {
        qp::QuelbyMessage envelope;
        qp::RCHardwareButtonInfoNtfy event;
        return parseEnvelope(bytes, envelope) && envelope.head_data().message_id() == qp::RC_HARDWARE_BUTTON_INFO_NTFY &&
               parseBody(envelope, event) && event.thumbwheelvalue() == 0xEE;
    }

    // Sends a ping through each port and reads everything that comes back
    // until both pings are answered (at most timeoutMs).
    bool sync(int timeoutMs = 3000)
    {
        h.sendEnvelope(m_appPing);
        h.sendFrame(m_radioPing);
        bool appPing = false;
        bool radioPing = false;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        std::string in;
        while (!(appPing && radioPing) && std::chrono::steady_clock::now() < deadline) {
            while (h.radio.receive(in, 0)) {
                appPing = appPing || isAppPingAnswer(in);
                count(true, in);
            }
            while (h.app.receive(in, 1)) {
                radioPing = radioPing || isRadioPingAnswer(in);
                count(false, in);
            }
        }
        if (!(appPing && radioPing)) {
            ++m_lostPings;
        }
        return appPing && radioPing;
    }

    // Waits for one datagram on the peer, counting it.
    bool expectFrom(bool radioSide, std::string& out, int timeoutMs = 1000)
    {
        UdpPeer& peer = radioSide ? h.radio : h.app;
        if (!peer.receive(out, timeoutMs)) {
            return false;
        }
        count(radioSide, out);
        return true;
    }

    // One rocker-mode get with its answer: the answer goes out only after the
    // request's frame has come out, that is once its sequence is pending.
    bool rockerRound(int32_t sequence, std::string& why)
    {
        const std::string request = appRequestLike(m_rockerRequest, sequence);
        send(false, request, "rocker-mode get");
        std::string frame;
        bool requested = false;
        while (!requested && expectFrom(true, frame)) {
            requested = isRcSettingsRequest(frame, RC_CMD_GET_MODE);
        }
        if (!requested) {
            why = "no rocker-mode get frame";
            return false;
        }
        send(true, std::string(kFlushLen, '\0') + m_rockerAnswer.bytes, "rocker-mode answer");
        std::string answer;
        qp::QuelbyMessage envelope;
        bool answered = false;
        while (!answered && expectFrom(false, answer)) {
            answered = parseEnvelope(answer, envelope) && envelope.head_data().message_id() == qp::PARAM_GET_MSG;
        }
        if (!answered) {
            why = "no answer to the App";
            return false;
        }
        if (envelope.head_data().message_id() != qp::PARAM_GET_MSG ||
            envelope.head_data().message_sequence() != sequence) {
            why = "answer with id " + std::to_string(envelope.head_data().message_id()) + " and sequence " +
                  std::to_string(envelope.head_data().message_sequence()) + ", expected " + std::to_string(sequence);
            return false;
        }
        return true;
    }

    std::string appRequestLike(const TSampleMessage& sample, int32_t sequence)
    {
        qp::QuelbyMessage envelope;
        parseEnvelope(sample.bytes, envelope);
        envelope.mutable_head_data()->set_message_sequence(sequence);
        return envelope.SerializeAsString();
    }

    const TSampleMessage* frameNamed(const std::string& name)
    {
        for (const TSampleMessage& f : m_frames) {
            if (f.name == name) {
                return &f;
            }
        }
        return nullptr;
    }

    // --- the final check -------------------------------------------------

    // Sends the answer frame until its queue is empty (the App is then told
    // sequence 0, which the soak never uses).
    bool drainQueue(const TSampleMessage& answer)
    {
        for (int i = 0; i < 200; ++i) {
            send(true, std::string(kFlushLen, '\0') + answer.bytes, "final check");
            std::string out;
            qp::QuelbyMessage envelope;
            if (!expectFrom(false, out) || !parseEnvelope(out, envelope)) {
                return false;
            }
            if (envelope.head_data().message_sequence() == 0) {
                return true;
            }
        }
        return false;
    }

    // One request of a family: its frame comes out; where an answer frame
    // belongs to it, the App gets the answer with the request's sequence.
    std::string checkRequest(const TSampleMessage& request, const TSampleMessage* answer, uint32_t answerAppId,
                             int32_t sequence)
    {
        if (answer != nullptr && request.queueKey != 0 && !answer->popsWithoutLooking && !drainQueue(*answer)) {
            return "its pending queue does not drain";
        }
        send(false, appRequestLike(request, sequence), "final check");
        std::string frame;
        if (!expectFrom(true, frame)) {
            return "no frame to the radio side";
        }
        if (static_cast<uint8_t>(frame[6]) != request.answerId ||
            (request.answerSub >= 0 &&
             (frame.size() <= XOLT_NUM_NON_PAYLOAD_BYTES || payloadByte(frame, 0) != request.answerSub))) {
            return "frame " + hexOf(frame.substr(0, 9)) + "... is not msgid " + std::to_string(request.answerId) +
                   " / " + std::to_string(request.answerSub);
        }
        if (request.id == qp::RC_START_HARDWARE_STATE_NTFY_MSG) {
            std::string reply;
            if (!expectFrom(false, reply)) {
                return "no immediate reply to the App";
            }
        }
        if (answer == nullptr) {
            return "";
        }
        send(true, std::string(kFlushLen, '\0') + answer->bytes, "final check");
        std::string out;
        qp::QuelbyMessage envelope;
        if (!expectFrom(false, out) || !parseEnvelope(out, envelope)) {
            return "no answer to the App after " + answer->name;
        }
        if (static_cast<uint32_t>(envelope.head_data().message_id()) != answerAppId ||
            envelope.head_data().message_sequence() != sequence) {
            char text[160];
            snprintf(text, sizeof(text), "answer has id 0x%X and sequence %d, expected 0x%X and %d",
                     static_cast<unsigned>(envelope.head_data().message_id()),
                     envelope.head_data().message_sequence(), answerAppId, sequence);
            return text;
        }
        return "";
    }

    // One frame of a family without a request: the App gets its message (or
    // nothing, for the frames the gateway drops).
    std::string checkFrame(const TSampleMessage& frame)
    {
        send(true, std::string(kFlushLen, '\0') + frame.bytes, "final check");
        std::string out;
        if (!frame.answered) {
            return expectFrom(false, out, 100) ? "an App message for a frame that is dropped" : "";
        }
        qp::QuelbyMessage envelope;
        if (!expectFrom(false, out) || !parseEnvelope(out, envelope)) {
            return "no App message";
        }
        if (frame.answerId != kStateDependentAnswer &&
            static_cast<uint32_t>(envelope.head_data().message_id()) != frame.answerId) {
            char text[96];
            snprintf(text, sizeof(text), "App message 0x%X, expected 0x%X",
                     static_cast<unsigned>(envelope.head_data().message_id()), frame.answerId);
            return text;
        }
        return "";
    }

    GatewayHarness h;
    std::mt19937_64 m_rng{envNumber("SOAK_SEED", 1)};
    std::vector<TSampleMessage> m_frames, m_requests, m_bulkFrames, m_bulkRequests, m_corruptibleRequests,
        m_pushingRequests;
    TSampleMessage m_rockerAnswer, m_rockerRequest;
    std::string m_appPing;
    std::string m_radioPing;
    std::map<std::string, uint64_t> m_sent, m_cameOut;
    uint64_t m_datagrams = 0;
    uint64_t m_brokenOutputs = 0;
    uint64_t m_lostPings = 0;
};

TEST_F(CSoak, MillionDatagramsThenEveryFamilyAnswers)
{
    const uint64_t total = envNumber("SOAK_DATAGRAMS", 1000000);
    const uint64_t seconds = envNumber("SOAK_SECONDS", 1800);
    const pid_t pid = h.process->pid();
    const auto start = std::chrono::steady_clock::now();
    const auto deadline = start + std::chrono::seconds(seconds);
    const long rssAtStart = residentKiB(pid);
    long rssBaseline = -1;
    std::vector<std::pair<uint64_t, long>> rssSamples;
    uint64_t nextRocker = kRockerRoundEvery / 2;
    uint64_t nextPush = kQueuePushEvery / 2;
    size_t pushIndex = 0;
    int32_t sequence = 1000;
    int rockerRounds = 0;
    int rockerFailures = 0;
    std::string why;

    while (m_datagrams < total && std::chrono::steady_clock::now() < deadline) {
        for (size_t i = 0; i < kBatch && m_datagrams < total; ++i) {
            if (m_datagrams >= nextPush) {
                // Requests whose queues only their answers pop (nest, system
                // time) or nobody (quick match): under 128 per kind in all.
                send(false, appRequestLike(m_pushingRequests[pushIndex++ % m_pushingRequests.size()], ++sequence),
                     "queue-pushing envelope");
                nextPush += kQueuePushEvery;
            } else {
                sendOneOfTheMix();
            }
        }
        sync();
        if (m_datagrams >= nextRocker) {
            ++rockerRounds;
            if (!rockerRound(++sequence, why)) {
                ++rockerFailures;
                ADD_FAILURE() << "rocker-mode round " << rockerRounds << ": " << why;
            }
            nextRocker += kRockerRoundEvery;
        }
        if (rssBaseline < 0 && m_datagrams >= kMemoryBaselineAt) {
            rssBaseline = residentKiB(pid);
        }
        if (m_datagrams % 100000 < kBatch) {
            rssSamples.emplace_back(m_datagrams, residentKiB(pid));
        }
        ASSERT_TRUE(h.process->running()) << "the gateway ended after " << m_datagrams << " datagrams";
    }
    const double sendSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const uint64_t mixDatagrams = m_datagrams;
    const long rssAfterMix = residentKiB(pid);

    // Every family once more, checked answer by answer.
    int familiesChecked = 0;
    int familiesFailed = 0;
    auto report = [&](const std::string& what, const std::string& problem) {
        ++familiesChecked;
        if (!problem.empty()) {
            ++familiesFailed;
            ADD_FAILURE() << what << ": " << problem;
        }
    };
    std::string leftover;
    while (h.radio.receive(leftover, 50) || h.app.receive(leftover, 50)) {
    }
    for (const TSampleMessage& request : m_requests) {
        if (!request.answered) {
            continue;
        }
        // A state-dependent answer (calibration) answers under the request's id.
        const TSampleMessage* answer = frameNamed(request.answeredBy);
        const uint32_t appId =
            answer == nullptr || answer->answerId == kStateDependentAnswer ? request.id : answer->answerId;
        if (request.name == "get_both") {
            continue; // the two above cover it
        }
        report("request " + request.name, checkRequest(request, answer, appId, ++sequence));
    }
    for (const TSampleMessage& frame : m_frames) {
        if (frame.queueKey == 0 && frame.name != "rc_calibration_ack" && frame.name != "versions") {
            report("frame " + frame.name, checkFrame(frame));
        }
    }
    const long rssEnd = residentKiB(pid);
    const double totalSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    printf("\n==== soak: %llu datagrams in %.1f s (%.0f per second), seed %llu\n",
           static_cast<unsigned long long>(mixDatagrams), sendSeconds, mixDatagrams / sendSeconds,
           static_cast<unsigned long long>(envNumber("SOAK_SEED", 1)));
    printf("sent:\n");
    for (const auto& s : m_sent) {
        printf("  %-32s %10llu\n", s.first.c_str(), static_cast<unsigned long long>(s.second));
    }
    printf("came out (pings included):\n");
    for (const auto& c : m_cameOut) {
        printf("  %-32s %10llu\n", c.first.c_str(), static_cast<unsigned long long>(c.second));
    }
    printf("  broken outputs                   %10llu\n", static_cast<unsigned long long>(m_brokenOutputs));
    printf("pings unanswered: %llu; rocker-mode rounds: %d, failed: %d; families checked: %d, failed: %d\n",
           static_cast<unsigned long long>(m_lostPings), rockerRounds, rockerFailures, familiesChecked,
           familiesFailed);
    printf("resident memory (KiB): start %ld, after %llu datagrams %ld, after the mix %ld, end %ld, peak %ld\n",
           rssAtStart, static_cast<unsigned long long>(kMemoryBaselineAt), rssBaseline, rssAfterMix, rssEnd,
           residentKiB(pid, "VmHWM:"));
    printf("resident memory by datagrams:");
    for (const auto& s : rssSamples) {
        printf(" %llu:%ld", static_cast<unsigned long long>(s.first), s.second);
    }
    printf("\ngrowth after the first %llu datagrams: %ld KiB (limit %ld); total time %.1f s\n",
           static_cast<unsigned long long>(kMemoryBaselineAt), rssEnd - rssBaseline, kMostGrowthKiB, totalSeconds);
    fflush(stdout);

    EXPECT_GE(mixDatagrams, total) << "stopped by the time limit of " << seconds << " s";
    EXPECT_EQ(0u, m_brokenOutputs);
    EXPECT_LE(m_lostPings, 0u);
    EXPECT_TRUE(h.process->running());
    if (total >= kMemoryBaselineAt) {
        ASSERT_GT(rssBaseline, 0);
        EXPECT_LE(rssEnd - rssBaseline, kMostGrowthKiB);
    }
}

} // namespace
