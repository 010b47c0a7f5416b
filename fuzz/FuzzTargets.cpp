// The libFuzzer targets: one source, built once per row of s_targets with
// LUMBRIX_FUZZ_TARGET naming the row. Each process brings the gateway up as
// main control does, minus the sockets: the logger writes every level to
// /dev/null (so every log expression is evaluated) and standard output, where
// every line goes too, drops what it is given, so that a line costs no
// system call; every handler is registered, and what a handler sends goes to
// a checking client. It works
// in a directory of its own, as the configuration loaders act on the paths
// they load. With FUZZ_SEED_DIR set it first writes its seeds there, from
// the sample traffic.
//
// Between inputs the targets put the link parser and the pending-request
// queues where a running gateway could be, so that the waits the gateway
// makes by design (a rocker-mode answer pops a pending get without looking;
// a push on a queue of 128 unanswered requests waits) are not taken for
// hangs.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "msgHandle/AppEnvelopeReader.h"
#include "dataAccess/client/ClientEntityManager.h"
#include "common/util/FileUtil.h"
#include "framework/GlobalStatus.h"
#include "common/core/JsonNode.h"
#include "common/core/JsonParser.h"
#include "common/core/KsLog.h"
#include "framework/LoggerConfig.h"
#include "framework/LumbrixConfig.h"
#include "framework/RecorderConfig.h"
#include "msgHandle/MsgHandleManager.h"
#include "kit/OutputCheck.h"
#include "dataAccess/service/ProtobufService.h"
#include "kit/SampleTraffic.h"
#include "dataAccess/service/XoltService.h"

namespace qp = quelby::protocol;

namespace {

void fail(const char* what, const std::string& fault)
{
    if (!fault.empty()) {
        fprintf(stderr, "%s: %s\n", what, fault.c_str());
        abort();
    }
}

// Stands in for the UDP client of one peer: checks what a handler sends
// instead of sending it.
class CCheckingClient : public ICClientBase {
public:
    explicit CCheckingClient(int serviceId) { m_iServiceId = serviceId; }
    int start(const CClientEntityInfo&) override { return 0; }
    int stop() override { return 0; }
    int sendData(int len, const char* data) override
    {
        fail("a client was sent", len < 0 || (len > 0 && data == nullptr) ? "a negative length or no data" : "");
        const std::string datagram = len > 0 ? std::string(data, static_cast<size_t>(len)) : std::string();
        if (m_iServiceId == E_SERVICE_ID_APP) {
            fail("the App was sent", envelopeFault(datagram));
        } else if (m_iServiceId == E_SERVICE_ID_RC_PROCESSOR) {
            fail("the radio side was sent", frameFault(datagram));
        }
        return 0;
    }
};

void quietLogger()
{
    CKsLog::CLogConfig internal;
    internal.m_iLogManagerMode = 0;
    internal.m_iMaxFileCnt = 1;
    internal.m_iMaxSizePerFile = 0x7FFFFFFF;
    internal.m_iLogLevel = E_LOG_LEVEL_DEBUG;
    internal.m_iLogSaveBourd = 0;
    internal.m_strLogFilePath = "/dev/null";
    CKsLog::getInstance()->addLogConfig(&internal);
    CKsLog::CLogConfig external;
    external.m_iLogSaveBourd = 1;
    external.m_bLogExternalEnable = false;
    CKsLog::getInstance()->addLogConfig(&external);
    CKsLog::getInstance()->reInit();
}

void resetLinkParser(uint8_t channel)
{
    memset(xolt_get_channel_buffer(channel), 0, sizeof(xolt_message_head_t));
    memset(xolt_get_channel_status(channel), 0, sizeof(xolt_status_t));
}

// Empties every pending-request queue but the one given.
void drainPendingQueues(uint32_t kept = 0)
{
    for (auto& entry : CGlobalStatus::ms_mapMessageIDtoSequence) {
        int sequence = 0;
        while (entry.first != kept && CGlobalStatus::popSequence(entry.first, sequence)) {
        }
    }
}

// One run of the link parser over an input on one channel: the output
// record's copy of every frame it delivered (its first len + 14 bytes), what
// it printed, and the output record as it left it.
struct TLinkRun {
    std::vector<std::string> frames;
    std::string printed;
    xolt_message_head_t msg = {};
    uint64_t badCrcFrames = 0; // what the run added to the parser's receive counts
    uint64_t skippedBytes = 0;
};

TLinkRun* s_linkRun = nullptr;

void takeFrame(xolt_message_head_t* msg)
{
    const size_t n = std::min<size_t>(msg->len, XOLT_MAX_PAYLOAD_LEN) + XOLT_RECORD_NON_PAYLOAD_BYTES;
    s_linkRun->frames.push_back(std::string(reinterpret_cast<const char*>(msg), n));
}

// Runs feed(run) on a fresh channel with standard output (where the parser
// prints its bad-CRC line) captured.
template <typename Feed>
TLinkRun runLink(uint8_t channel, Feed feed)
{
    resetLinkParser(channel);
    TLinkRun run;
    s_linkRun = &run;
    char* text = nullptr;
    size_t textLen = 0;
    FILE* captured = open_memstream(&text, &textLen);
    FILE* const saved = stdout;
    stdout = captured;
    const uint64_t badCrcBefore = xolt_get_rx_counts().bad_crc_frames;
    const uint64_t skippedBefore = xolt_get_rx_counts().skipped_bytes;
    feed(run);
    run.badCrcFrames = xolt_get_rx_counts().bad_crc_frames - badCrcBefore;
    run.skippedBytes = xolt_get_rx_counts().skipped_bytes - skippedBefore;
    fflush(captured);
    stdout = saved;
    fclose(captured);
    run.printed.assign(text, textLen);
    free(text);
    return run;
}

// The first difference between two runs on two channels: frames, printed
// lines, output record, channel buffer, status. Empty when there is none.
std::string linkDifference(const TLinkRun& a, uint8_t chanA, const TLinkRun& b, uint8_t chanB)
{
    if (a.frames != b.frames) {
        return "other frames";
    }
    if (a.printed != b.printed) {
        return "other printed lines";
    }
    if (a.badCrcFrames != b.badCrcFrames || a.skippedBytes != b.skippedBytes) {
        return "other receive counts";
    }
    if (memcmp(&a.msg, &b.msg, sizeof(a.msg)) != 0) {
        return "another output record";
    }
    if (memcmp(xolt_get_channel_buffer(chanA), xolt_get_channel_buffer(chanB), sizeof(xolt_message_head_t)) != 0) {
        return "other bytes in the channel buffer";
    }
    const xolt_status_t& sa = *xolt_get_channel_status(chanA);
    const xolt_status_t& sb = *xolt_get_channel_status(chanB);
    if (sa.msg_received != sb.msg_received || sa.buffer_overrun != sb.buffer_overrun ||
        sa.parse_error != sb.parse_error || sa.parse_state != sb.parse_state || sa.packet_idx != sb.packet_idx) {
        return "another parser state";
    }
    if (memcmp(sa.current_rx_seq, sb.current_rx_seq, sizeof(sa.current_rx_seq)) != 0 ||
        memcmp(sa.current_tx_seq, sb.current_tx_seq, sizeof(sa.current_tx_seq)) != 0 ||
        memcmp(sa.packet_rx_success_count, sb.packet_rx_success_count, sizeof(sa.packet_rx_success_count)) != 0 ||
        memcmp(sa.packet_rx_drop_count, sb.packet_rx_drop_count, sizeof(sa.packet_rx_drop_count)) != 0 ||
        memcmp(sa.packet_tx_success_count, sb.packet_tx_success_count, sizeof(sa.packet_tx_success_count)) != 0 ||
        memcmp(sa.packet_tx_fail_count, sb.packet_tx_fail_count, sizeof(sa.packet_tx_fail_count)) != 0) {
        return "other statistics";
    }
    return "";
}

// The link parser: the bytes fed one by one (channel 0) and as datagrams the
// way the link service feeds them, whole (channel 1), in two halves (channel
// 2) and in pieces of 1 to 32 bytes, each as long as its first byte says
// (channel 3), deliver the same frames, print the same lines, add the same
// to the receive counts and leave the same output record, channel buffer
// and status; every frame has at most 512 payload bytes and a CRC that
// matches what it holds.
int parseLink(const uint8_t* data, size_t size)
{
    const TLinkRun byByte = runLink(XOLT_COMM_0, [&](TLinkRun& run) {
        xolt_status_t unused;
        for (size_t i = 0; i < size; ++i) {
            if (xolt_parse_char(XOLT_COMM_0, data[i], &run.msg, &unused) == XOLT_FRAMING_OK) {
                takeFrame(&run.msg);
            }
        }
    });
    for (const std::string& frame : byByte.frames) {
        fail("the parser delivered", frameFault(frame.substr(offsetof(xolt_message_head_t, magic)), false));
    }
    const TLinkRun whole =
        runLink(XOLT_COMM_1, [&](TLinkRun& run) { xolt_parse_buffer(XOLT_COMM_1, data, size, &run.msg, takeFrame); });
    fail("a whole datagram", linkDifference(byByte, XOLT_COMM_0, whole, XOLT_COMM_1));
    const TLinkRun halves = runLink(XOLT_COMM_2, [&](TLinkRun& run) {
        xolt_parse_buffer(XOLT_COMM_2, data, size / 2, &run.msg, takeFrame);
        xolt_parse_buffer(XOLT_COMM_2, data + size / 2, size - size / 2, &run.msg, takeFrame);
    });
    fail("two datagrams", linkDifference(byByte, XOLT_COMM_0, halves, XOLT_COMM_2));
    const TLinkRun pieces = runLink(XOLT_COMM_3, [&](TLinkRun& run) {
        for (size_t at = 0; at < size;) {
            const size_t n = std::min<size_t>(1 + data[at] % 32, size - at);
            xolt_parse_buffer(XOLT_COMM_3, data + at, n, &run.msg, takeFrame);
            at += n;
        }
    });
    fail("datagrams of 1 to 32 bytes", linkDifference(byByte, XOLT_COMM_0, pieces, XOLT_COMM_3));
    return 0;
}

// Datagrams into the link service. A piece of 1200 bytes completes at most
// 121 frames: fewer rocker-mode answers than the gets kept pending. The
// pending gets all hold 0 and only frames take from them, so the queue is
// topped up rather than refilled.
int intoLinkService(const uint8_t* data, size_t size)
{
    static std::unique_ptr<ICServiceBase> s_service(static_cast<ICServiceBase*>(CXoltService::create()));
    constexpr size_t kPieceLen = 1200;
    resetLinkParser(XOLT_COMM_0);
    drainPendingQueues(qp::PARAM_GET_MSG);
    for (size_t offset = 0; offset < size; offset += kPieceLen) {
        while (CGlobalStatus::ms_mapMessageIDtoSequence[qp::PARAM_GET_MSG].size() < 127) {
            CGlobalStatus::pushSequence(qp::PARAM_GET_MSG, 0);
        }
        s_service->onReadData(nullptr, static_cast<int>(std::min(kPieceLen, size - offset)),
                              reinterpret_cast<const char*>(data + offset));
    }
    return 0;
}

// One datagram into the envelope service, after the envelope reader the
// service decodes with (kept from input to input, as in the service) was
// checked to decode it as into a new envelope. A parameter get that names
// the rocker mode more than 128 times fills its queue by itself: not run.
int intoEnvelopeService(const uint8_t* data, size_t size)
{
    static std::unique_ptr<ICServiceBase> s_service(static_cast<ICServiceBase*>(CProtobufService::create()));
    static CAppEnvelopeReader s_reader;
    qp::QuelbyMessage envelope;
    const bool parsed = envelope.ParseFromArray(data, static_cast<int>(size));
    fail("the envelope reader",
         s_reader.parse(reinterpret_cast<const char*>(data), static_cast<int>(size)) != parsed ||
                 (parsed && (s_reader.envelope().has_head_data() != envelope.has_head_data() ||
                             s_reader.envelope().has_data() != envelope.has_data() ||
                             s_reader.envelope().SerializeAsString() != envelope.SerializeAsString()))
             ? "decodes otherwise than a new envelope"
             : "");
    qp::DroneParamMessageRequest request;
    if (parsed && envelope.head_data().message_id() == qp::PARAM_GET_MSG &&
        request.ParseFromString(envelope.data().value()) &&
        std::count_if(request.params_list().begin(), request.params_list().end(),
                      [](const auto& p) { return p.param_id() == qp::RC_ROCKER_CONTROL_MODE_MSG; }) > 128) {
        return -1;
    }
    drainPendingQueues();
    s_service->onReadData(nullptr, static_cast<int>(size), reinterpret_cast<const char*>(data));
    return 0;
}

// The logger opens, renames and removes files at the paths it loads and runs
// mkdir through the shell for the card's directories: only relative plain
// paths without "..", or the gateway's own defaults, and few files.
bool loggerStaysInside(const std::string& text)
{
    CJsonNode root;
    CJsonNode log;
    if (CJsonParser::loadFromStr(text, root) != 0 || !root.getChildNode("log", log) || !log.isObject()) {
        return true;
    }
    for (const char* key : {"file", "logExternalPath", "logExternalImagePath"}) {
        CJsonNode value;
        std::string p;
        if (!log.getChildNode(key, value) || !value.getValue(p) || p == "/mnt/log/aiService.log" ||
            p == "/tmp/SD0/aiLog/" || p == "/tmp/SD0/aiLog/aiImageTest/") {
            continue;
        }
        if (p.empty() || p.size() > 200 || p[0] == '/' || p.find("..") != std::string::npos ||
            p.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./") !=
                std::string::npos) {
            return false;
        }
    }
    CJsonNode value;
    int count = 0;
    return !(log.getChildNode("fileCnt", value) && value.getValue(count) && count > 16);
}

// The gateway's, the recorder's and the logger's configuration loaders on
// the text (each first takes it as a file name: not for the files of this
// machine).
int loadConfigs(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (CFileUtil::isFileExist(text.c_str())) {
        return -1;
    }
    CLumbrixConfig().loadConfig(text);
    CRecorderConfig().load(text);
    // The logger takes a C string, as from the command line.
    const std::string cText(text.c_str());
    if (!loggerStaysInside(cText)) {
        return -1;
    }
    initLogger(cText.c_str());
    quietLogger();
    return 0;
}

// Every sample frame, and the frames back to back four at a time (a frame
// after others: what they left in the receive record). Short streams, not
// one of every frame: an input costs what its frames cost, and the inputs
// the fuzzer keeps descend from the seeds.
std::vector<TSampleMessage> linkSeeds()
{
    std::vector<TSampleMessage> seeds = sampleRadioFrames(7);
    const size_t frames = seeds.size();
    for (size_t i = 0; i < frames; i += 4) {
        TSampleMessage stream;
        stream.name = "stream_" + std::to_string(i / 4);
        for (size_t k = i; k < std::min(i + 4, frames); ++k) {
            stream.bytes += seeds[k].bytes;
        }
        seeds.push_back(stream);
    }
    return seeds;
}

struct TTarget {
    const char* name;
    std::vector<TSampleMessage> (*seeds)();
    int (*run)(const uint8_t* data, size_t size);
};

const TTarget s_targets[] = {
    {"xolt_parser", linkSeeds, parseLink},
    {"radio_to_app", linkSeeds, intoLinkService},
    {"app_to_radio", [] { return sampleAppRequests(42); }, intoEnvelopeService},
    {"config", sampleConfigurations, loadConfigs},
};

const TTarget& target()
{
    for (const TTarget& t : s_targets) {
        if (strcmp(t.name, LUMBRIX_FUZZ_TARGET) == 0) {
            return t;
        }
    }
    abort();
}

std::string s_sandbox;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const char* seedDir = getenv("FUZZ_SEED_DIR");
    if (seedDir != nullptr) {
        std::error_code ignored;
        std::filesystem::create_directories(seedDir, ignored);
        for (const TSampleMessage& seed : target().seeds()) {
            std::ofstream(std::string(seedDir) + "/" + seed.name, std::ios::binary) << seed.bytes;
        }
    }
    char dir[] = "/tmp/lumbrix-fuzz-XXXXXX";
    if (mkdtemp(dir) == nullptr || chdir(dir) != 0) {
        perror("fuzz: own directory");
        abort();
    }
    s_sandbox = dir;
    // Every log line goes to standard output too, flushed: here into a
    // stream that drops it without a system call.
    static const cookie_io_functions_t s_drop = {nullptr, [](void*, const char*, size_t n) -> ssize_t { return n; },
                                                 nullptr, nullptr};
    stdout = fopencookie(nullptr, "w", s_drop);
    atexit([] {
        std::error_code ignored;
        std::filesystem::remove_all(s_sandbox, ignored);
    });
    quietLogger();
    CMsgHandleManager::getInstance()->init();
    CClientEntityManager::getInstance()->init();
    for (int id = E_SERVICE_ID_APP; id < E_SERVICE_ID_END; ++id) {
        CClientEntityManager::getInstance()->addClientEntity(std::make_shared<CCheckingClient>(id));
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return target().run(data, size);
}
