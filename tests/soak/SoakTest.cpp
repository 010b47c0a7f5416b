// Soak run of the real gateway (make soak; not registered with CTest).
//
// SOAK_DATAGRAMS datagrams (default 1,000,000, within SOAK_SECONDS, default
// 1800) go to both ports: the sample traffic as it is, truncated and
// corrupted, random bytes and empty datagrams. After every 64 a ping (a
// request the gateway answers at once, under its own sequence) keeps the
// run at the gateway's pace. Every datagram the gateway sends is checked
// (OutputCheck.h). Afterwards every family must still answer, and the
// resident memory may grow by at most 1 MiB after the first tenth of the run.
//
// A second run records: SOAK_RECORDED datagrams in and out together
// (default 1,000,000: drone time notifications from the App and the frames
// they become, 64 in flight) must all be in
// the recording as whole records, with the resident memory after the first
// 100,000 within 1 MiB of the end's.
//
// The gateway waits for ever in two places by design, and the mix keeps
// clear of both: it sends no rocker-mode answer (which pops a pending get
// without looking), and requests whose queue the mix does not pop (quick
// match) go out once per 1,500 datagrams: under 128 per kind up to 3,000,000.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <random>

#include "GatewayHarness.h"
#include "kit/OutputCheck.h"
#include "kit/SampleTraffic.h"

namespace qp = quelby::protocol;
using Clock = std::chrono::steady_clock;

namespace {

constexpr uint64_t kBatch = 64;
constexpr uint64_t kQueuePushEvery = 1500;
constexpr long kMostGrowthKiB = 1024;

uint64_t envNumber(const char* name, uint64_t fallback)
{
    const char* v = getenv(name);
    return v != nullptr && *v != '\0' ? strtoull(v, nullptr, 10) : fallback;
}

long residentKiB(pid_t pid)
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(in, line)) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return strtol(line.c_str() + 6, nullptr, 10);
        }
    }
    return -1;
}

qp::CommonHead headOf(const std::string& bytes)
{
    qp::QuelbyMessage envelope;
    parseEnvelope(bytes, envelope);
    return envelope.head_data();
}

std::string withSequence(const std::string& request, int32_t sequence)
{
    qp::QuelbyMessage envelope;
    parseEnvelope(request, envelope);
    envelope.mutable_head_data()->set_message_sequence(sequence);
    return envelope.SerializeAsString();
}

class CSoak : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(h.start("Error")) << h.output();
        for (const TSampleMessage& f : m_frames) {
            if (!f.popsWithoutLooking) {
                m_mixFrames.push_back(f.bytes);
            }
        }
        for (const TSampleMessage& r : m_requests) {
            if (r.queueKey == 0) {
                m_mixRequests.push_back(r.bytes);
                // A corrupted parameter request could turn into a rocker-mode get.
                if (r.id != qp::PARAM_GET_MSG && r.id != qp::PARAM_SET_MSG) {
                    m_corruptible.push_back(r.bytes);
                }
            } else if (r.queueKey != qp::PARAM_GET_MSG) {
                m_pushers.push_back(r.bytes);
            }
            if (r.id == qp::RC_START_HARDWARE_STATE_NTFY_MSG) {
                m_ping = r.bytes;
            }
        }
    }

    const std::string& pick(const std::vector<std::string>& v) { return v[m_rng() % v.size()]; }

    std::string truncated(const std::string& s) { return s.substr(0, 1 + m_rng() % (s.size() - 1)); }

    std::string corrupted(std::string s)
    {
        for (int i = 0, n = 1 + m_rng() % 3; i < n; ++i) {
            s[m_rng() % s.size()] ^= static_cast<char>(1 + m_rng() % 255);
        }
        return s;
    }

    void sendOneOfTheMix()
    {
        const unsigned roll = m_rng() % 20;
        if (roll < 6) {
            h.sendFrame(pick(m_mixFrames));
        } else if (roll < 10) {
            h.sendEnvelope(pick(m_mixRequests));
        } else if (roll < 12) {
            h.sendFrame(truncated(pick(m_mixFrames)));
        } else if (roll < 14) {
            h.sendFrame(corrupted(pick(m_mixFrames)));
        } else if (roll < 15) {
            h.sendEnvelope((m_rng() & 1) != 0 ? corrupted(pick(m_corruptible)) : truncated(pick(m_mixRequests)));
        } else {
            std::string random(roll < 19 ? 1 + m_rng() % 600 : 0, '\0');
            for (char& c : random) {
                c = static_cast<char>(m_rng());
            }
            if ((m_rng() & 1) != 0) {
                h.sendFrame(random);
            } else {
                h.sendEnvelope(random);
            }
        }
    }

    // Reads what the gateway sends to both peers, checking every datagram,
    // until want holds for one sent to the App (toApp) or to the radio side;
    // at most timeoutMs.
    bool await(bool toApp, const std::function<bool(const std::string&)>& want, int timeoutMs = 1000)
    {
        const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
        std::string in;
        while (Clock::now() < deadline) {
            for (bool app : {false, true}) {
                while ((app ? h.app : h.radio).receive(in, app ? 1 : 0)) {
                    ++m_outputs;
                    const std::string fault = app ? envelopeFault(in) : frameFault(in);
                    if (!fault.empty() && ++m_broken <= 5) {
                        ADD_FAILURE() << fault << ": " << hexOf(in);
                    }
                    if (app == toApp && fault.empty() && want(in)) {
                        return true;
                    }
                }
            }
        }
        return false;
    }

    bool ping()
    {
        const int32_t sequence = ++m_sequence;
        h.sendEnvelope(withSequence(m_ping, sequence));
        return await(
            true,
            [sequence](const std::string& m) {
                const qp::CommonHead head = headOf(m);
                return head.message_id() == qp::RC_START_HARDWARE_STATE_NTFY_MSG && head.message_sequence() == sequence;
            },
            3000);
    }

    // A request still gets its frame out and, where the radio side answers
    // it, the answer back under its sequence; empty when it does.
    std::string checkRequest(const TSampleMessage& r)
    {
        const int32_t sequence = ++m_sequence;
        h.sendEnvelope(withSequence(r.bytes, sequence));
        if (!await(false, [&r](const std::string& f) {
                return static_cast<uint8_t>(f[6]) == r.answerId &&
                       (r.answerSub < 0 || (f.size() > XOLT_NUM_NON_PAYLOAD_BYTES &&
                                            static_cast<uint8_t>(f[XOLT_HEADER_LEN]) == r.answerSub));
            })) {
            return "no frame to the radio side";
        }
        const TSampleMessage* answer = nullptr;
        for (const TSampleMessage& f : m_frames) {
            answer = f.name == r.answeredBy ? &f : answer;
        }
        if (answer == nullptr) {
            return "";
        }
        const uint32_t id = answer->answerId == kStateDependentAnswer ? r.id : answer->answerId;
        // A queued answer goes to the oldest pending request, which may be
        // one of the mix's: answer until this one's turn.
        int32_t got = 0;
        for (int i = 0; i < 130 && got != sequence; ++i) {
            h.sendFrame(answer->bytes);
            if (!await(true, [&](const std::string& m) {
                    const qp::CommonHead head = headOf(m);
                    got = head.message_sequence();
                    return static_cast<uint32_t>(head.message_id()) == id;
                })) {
                return "no answer to the App after " + answer->name;
            }
        }
        return got == sequence ? "" : "the answer carries sequence " + std::to_string(got);
    }

    GatewayHarness h;
    std::mt19937_64 m_rng{envNumber("SOAK_SEED", 1)};
    const std::vector<TSampleMessage> m_frames = sampleRadioFrames(0);
    const std::vector<TSampleMessage> m_requests = sampleAppRequests(1);
    std::vector<std::string> m_mixFrames, m_mixRequests, m_corruptible, m_pushers;
    std::string m_ping;
    int32_t m_sequence = 1000;
    uint64_t m_outputs = 0;
    uint64_t m_broken = 0;
};

TEST_F(CSoak, DatagramsThenEveryFamilyAnswers)
{
    const uint64_t total = envNumber("SOAK_DATAGRAMS", 1000000);
    const auto start = Clock::now();
    const auto deadline = start + std::chrono::seconds(envNumber("SOAK_SECONDS", 1800));
    const pid_t pid = h.process->pid();
    const long rssAtStart = residentKiB(pid);
    long rssBaseline = -1;
    uint64_t sent = 0;
    while (sent < total && Clock::now() < deadline) {
        for (uint64_t i = 0; i < kBatch && sent < total; ++i, ++sent) {
            if (sent % kQueuePushEvery == kQueuePushEvery / 2) {
                h.sendEnvelope(m_pushers[sent / kQueuePushEvery % m_pushers.size()]);
            } else {
                sendOneOfTheMix();
            }
        }
        ASSERT_TRUE(ping()) << "no answer to the ping after " << sent << " datagrams";
        if (rssBaseline < 0 && sent >= total / 10) {
            rssBaseline = residentKiB(pid);
        }
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();

    // Every family once more: a frame long enough to end whatever frame the
    // link parser is inside of, then each request and each report.
    h.sendFrame(std::string(XOLT_MAX_PAYLOAD_LEN + 2 * XOLT_NUM_NON_PAYLOAD_BYTES, '\0'));
    for (const TSampleMessage& r : m_requests) {
        if (r.answered) {
            EXPECT_EQ("", checkRequest(r)) << "request " << r.name;
        }
    }
    for (const TSampleMessage& f : m_frames) {
        if (f.answered && f.queueKey == 0) {
            h.sendFrame(f.bytes);
            EXPECT_TRUE(await(true,
                              [&f](const std::string& m) {
                                  return f.answerId == kStateDependentAnswer ||
                                         static_cast<uint32_t>(headOf(m).message_id()) == f.answerId;
                              }))
                << "no App message after frame " << f.name;
        }
    }
    const long rssEnd = residentKiB(pid);
    std::cout << "soak: " << sent << " datagrams in " << seconds << " s, seed " << envNumber("SOAK_SEED", 1) << "; "
              << m_outputs << " datagrams out checked, " << m_broken << " broken; resident memory (KiB) " << rssAtStart
              << " at start, " << rssBaseline << " after " << total / 10 << " datagrams, " << rssEnd << " at the end\n";
    EXPECT_EQ(total, sent) << "stopped by the time limit";
    EXPECT_EQ(0u, m_broken);
    EXPECT_LE(rssEnd - rssBaseline, kMostGrowthKiB);
}

// Whole records in the capture files path, path.1 ... path.(count-1); -1
// when one of them ends with part of a record.
int64_t wholeRecords(const std::string& path, int count)
{
    int64_t records = 0;
    for (int i = 0; i < count; ++i) {
        const std::string bytes = readFile(i == 0 ? path : path + "." + std::to_string(i));
        size_t at = bytes.empty() ? 0 : 24;
        for (uint32_t len = 0; at + 16 <= bytes.size(); at += 16 + len, ++records) {
            memcpy(&len, bytes.data() + at + 8, sizeof(len));
        }
        if (at != bytes.size()) {
            return -1;
        }
    }
    return records;
}

TEST(CSoakRecording, EveryDatagramIsInTheRecording)
{
    const uint64_t total = envNumber("SOAK_RECORDED", 1000000);
    GatewayHarness h;
    const std::string path = h.dir.file("rec.pcap");
    h.extraConfig =
        "\"record\": {\"enable\": true, \"file\": \"" + path + "\", \"fileSize\": 33554432, \"fileCnt\": 4}";
    ASSERT_TRUE(h.start("Error")) << h.output();
    // One frame to the radio side for each, and nothing else.
    std::string notification;
    for (const TSampleMessage& r : sampleAppRequests(1)) {
        notification = r.id == qp::DRONE_UTC_TIME_SYNC_NTFY ? r.bytes : notification;
    }
    const pid_t pid = h.process->pid();
    long rssBaseline = -1;
    uint64_t crossed = 0;
    std::string answer;
    while (crossed + 2 <= total) {
        const uint64_t batch = std::min<uint64_t>(kBatch, (total - crossed) / 2);
        for (uint64_t i = 0; i < batch; ++i) {
            ASSERT_TRUE(h.sendEnvelope(notification));
        }
        for (uint64_t i = 0; i < batch; ++i) {
            ASSERT_TRUE(h.radio.receive(answer, 3000)) << "no frame after " << crossed << " datagrams";
            crossed += 2;
        }
        if (rssBaseline < 0 && crossed >= 100000) {
            rssBaseline = residentKiB(pid);
        }
    }
    const long rssEnd = residentKiB(pid);
    // The recorder thread writes what it holds within 100 ms.
    int64_t records = 0;
    within(3000, [&] { return (records = wholeRecords(path, 4)) == static_cast<int64_t>(total); });
    std::cout << "soak recording: " << crossed << " datagrams, " << records << " whole records; resident memory (KiB) "
              << rssBaseline << " after 100000, " << rssEnd << " at the end\n";
    EXPECT_EQ(static_cast<int64_t>(total), records);
    EXPECT_LE(rssEnd - rssBaseline, kMostGrowthKiB);
}

} // namespace
