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

// A delivered record as on the wire (at most 513 payload bytes, so that a
// length over 512 shows without reading past the record).
std::string wireOf(const xolt_message_head_t* msg)
{
    const size_t n = std::min<size_t>(msg->len, XOLT_MAX_PAYLOAD_LEN + 1);
    return std::string(reinterpret_cast<const char*>(xolt_wire_bytes(msg)), n + XOLT_NUM_NON_PAYLOAD_BYTES);
}

std::vector<std::string> s_fromDatagrams;

// The link parser: the bytes fed one by one (channel 0) and as two datagrams
// (channel 1, as the link service feeds them) deliver the same frames, each
// of at most 512 payload bytes with a CRC that matches what it holds.
int parseLink(const uint8_t* data, size_t size)
{
    resetLinkParser(XOLT_COMM_0);
    resetLinkParser(XOLT_COMM_1);
    std::vector<std::string> byByte;
    xolt_message_head_t msg;
    xolt_status_t status;
    for (size_t i = 0; i < size; ++i) {
        if (xolt_parse_char(XOLT_COMM_0, data[i], &msg, &status) == XOLT_FRAMING_OK) {
            byByte.push_back(wireOf(&msg));
            fail("the parser delivered", frameFault(byByte.back(), false));
        }
    }
    s_fromDatagrams.clear();
    auto collect = [](xolt_message_head_t* m) { s_fromDatagrams.push_back(wireOf(m)); };
    xolt_parse_buffer(XOLT_COMM_1, data, size / 2, &msg, collect);
    xolt_parse_buffer(XOLT_COMM_1, data + size / 2, size - size / 2, &msg, collect);
    fail("the parser", byByte == s_fromDatagrams ? "" : "delivers other frames from datagrams than byte by byte");
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

// One datagram into the envelope service. A parameter get that names the
// rocker mode more than 128 times fills its queue by itself: not run.
int intoEnvelopeService(const uint8_t* data, size_t size)
{
    static std::unique_ptr<ICServiceBase> s_service(static_cast<ICServiceBase*>(CProtobufService::create()));
    qp::QuelbyMessage envelope;
    qp::DroneParamMessageRequest request;
    if (envelope.ParseFromArray(data, static_cast<int>(size)) &&
        envelope.head_data().message_id() == qp::PARAM_GET_MSG && request.ParseFromString(envelope.data().value()) &&
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
