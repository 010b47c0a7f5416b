#include "SimRadio.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "msgHandle/AtCommandDefine.h"
#include "msgHandle/NestCommandDefine.h"
#include "msgHandle/RcCommandDefine.h"
#include "msgHandle/xolt2Protobuf/RcKeyDefine.h"
#include "SimArgs.h"
#include "SimConfig.h"
#include "SimStop.h"
#include "msgHandle/XoltByteOrder.h"
#include "XoltFrameText.h"
#include "msgHandle/XoltMessageDefine.h"
#include "kit/SampleTraffic.h"

namespace {

constexpr size_t MAX_DATAGRAM = 4096;
constexpr int IDLE_WAIT_MS = 50;

// Answers and reports as the firmware sends them: full records.
constexpr uint16_t PHONE_SET_LEN = sizeof(__xolt_phone_set_t);
constexpr uint8_t RESULT_OK = 0;
constexpr uint8_t CALIBRATION_OK = 1;

// Pairing: the answer, then progress reports this far apart.
constexpr int PAIR_PROGRESS_STEP_MS = 50;
// The nest reports the end of an automatic task this long after accepting it.
constexpr int AUTO_TASK_DURATION_MS = 150;
constexpr int CALIBRATION_REPORT_DELAY_MS = 20;

const uint8_t s_reportKeys[] = {XOLT_RC_KEY_ZOOM_IN,     XOLT_RC_KEY_PHOTO,        XOLT_RC_KEY_RECORD,
                                XOLT_RC_KEY_LEFT_CUSTOM, XOLT_RC_KEY_RIGHT_CUSTOM, XOLT_RC_KEY_ZOOM_OUT,
                                XOLT_RC_KEY_PHOTO_RECORD};

const char* const s_versions[] = {"TX-1.4.2", "RC-2.0.7", "MCU-1.1.0", "MOT-0.9.3"}; // transmitter, rc, mcu, motor

// One value of a nest report's record: size bytes, little-endian, at offset
// in the record (after the report type). A value that changes from round to
// round adds perRound times the round, modulo period when that is not 0.
struct TPut {
    uint8_t offset;
    uint8_t size;
    int32_t value;
    int perRound = 0;
    int period = 0;
};

// The records as the gateway's nest-report handler reads them, with their
// units.
// Power on; drone in place and charging; charger 0: state, soc % (rising), mV, mA, 0.1 degC, minutes charging,
// cycles, mAh; climate 0 and 1: 0.1 degC, 0.1 %RH, cooler on; weather: wind 0.1 m/s from the west, pressure Pa,
// 0.1 degC, 0.1 %RH; tilt in degrees; tec: power, mode, target, inside and outside 0.1 degC, fan level; led;
// system mode; fans: count, running mask, duty %, rpm of the first two.
const std::vector<TPut> s_status = {
    {2, 1, 1},    {5, 1, 1},    {7, 1, 1},   {10, 1, 2},    {11, 1, 80, 1, 20}, {12, 2, 25200}, {14, 2, 3500},
    {16, 2, 312}, {18, 2, 14},  {20, 2, 42}, {22, 2, 5000}, {46, 2, 245},       {48, 2, 480},   {51, 1, 1},
    {54, 2, 231}, {56, 2, 505}, {62, 2, 32}, {64, 2, 270},  {68, 4, 101325},    {72, 2, 198},   {74, 2, 550},
    {78, 1, 1},   {84, 1, 1},   {85, 1, 2},  {86, 2, 250},  {88, 2, 262},       {90, 2, 198},   {92, 1, 3},
    {93, 1, 1},   {94, 1, 2},   {98, 1, 2},  {99, 1, 3},    {100, 1, 60},       {101, 2, 2400}, {103, 2, 2450}};
// mV, mA, 0.1 degC, soc % (falling), state, mAh left, the six cells' mV.
const std::vector<TPut> s_batteryDynamic = {{2, 2, 25080}, {4, 2, -1200}, {6, 2, 301},   {8, 1, 86, -1, 10},
                                            {9, 1, 1},     {10, 2, 4300}, {12, 2, 4176}, {14, 2, 4177},
                                            {16, 2, 4178}, {18, 2, 4179}, {20, 2, 4180}, {22, 2, 4181}};
// Four motor drivers (hatch, x, y and z rod): state, degC, position mm, current mA.
const std::vector<TPut> s_motorDrivers = {
    {2, 1, 1},  {3, 1, 36},  {4, 2, 0},    {6, 2, 300},  {10, 1, 1}, {11, 1, 37}, {12, 2, 120}, {14, 2, 301},
    {18, 1, 1}, {19, 1, 38}, {20, 2, 240}, {22, 2, 302}, {26, 1, 1}, {27, 1, 39}, {28, 2, 360}, {30, 2, 303}};

// The reports of the rounds, each round the next.
struct TNestReport {
    uint8_t type;
    uint8_t length;
    std::vector<TPut> puts;
    const char* serial = nullptr; // the static battery record's, at byte 10
};

const TNestReport s_nestReports[] = {
    {NEST_CMD_SYSTEM_STATUS, 117, s_status},
    {NEST_CMD_BAT_DYNAMIC_INFO, 24, s_batteryDynamic},
    // Design and full mAh, design mV, cycles, cells, health %, the serial number.
    {NEST_CMD_BAT_STATIC_INFO,
     26,
     {{0, 2, 5000}, {2, 2, 4870}, {4, 2, 22800}, {6, 2, 42}, {8, 1, 6}, {9, 1, 97}},
     "LBX-BAT-000123"},
    // The backup battery: mV, mA, 0.1 degC, soc %.
    {NEST_CMD_BAT_ALTERNATE_INFO, 10, {{2, 2, 12600}, {4, 2, 150}, {6, 2, 256}, {8, 1, 99}}},
    {NEST_CMD_DRV_INFO1, 32, s_motorDrivers},
    {NEST_CODE_ZROD_READY, 1, {{0, 1, 1}}},
    // Finished, passed.
    {NEST_CODE_SELF_CHECK, 6, {{0, 1, 2}, {1, 1, 0}}},
    // Uptime (the round), link quality %, rssi dBm, state.
    {NEST_CODE_TRANSMIT_HEARTBEAT, 7, {{0, 4, 0, 1}, {4, 1, 96}, {5, 1, -58}, {6, 1, 1}}},
};

// The bytes of head, then zeros up to length.
std::vector<uint8_t> record(std::initializer_list<uint8_t> head, size_t length)
{
    std::vector<uint8_t> bytes(head);
    bytes.resize(std::max(length, bytes.size()));
    return bytes;
}

// The report type, then the record of the round.
std::vector<uint8_t> nestReport(const TNestReport& report, int64_t round)
{
    std::vector<uint8_t> payload(1 + report.length);
    payload[0] = report.type;
    for (const TPut& put : report.puts) {
        const int64_t value = put.value + put.perRound * (put.period != 0 ? round % put.period : round);
        for (int i = 0; i < put.size; ++i) {
            payload[1 + put.offset + i] = static_cast<uint8_t>(value >> (8 * i));
        }
    }
    if (report.serial != nullptr) {
        std::copy(report.serial, report.serial + strlen(report.serial), payload.begin() + 1 + 10);
    }
    return payload;
}

const char* const ABOUT = "Stands in for the radio side (RC firmware and nest): listens where the\n"
                          "gateway's \"transmit\" client sends and answers every frame the gateway\n"
                          "builds. Prints each frame in and out with its bytes. Runs until SIGINT or\n"
                          "SIGTERM, --duration, or the last of --rounds.\n"
                          "\n"
                          "answers: RC settings (150) get/set gimbal speed and rocker mode from the values\n"
                          "it remembers (speed 50, mode 1 at start), calibration results, the system-time\n"
                          "acknowledgement (110), nest acknowledgements (183, and an auto-task finish\n"
                          "report), the pairing answer and progress 25..100% (201), the versions (219).\n"
                          "Time sync (24), virtual sticks (148) and quick-match commands get no answer.\n";

} // namespace

int CSimRadio::run(int argc, char** argv)
{
    CSimArgs args("radio", "[options]", ABOUT,
                  {{"config", "FILE", "take both addresses from a gateway configuration file"},
                   {"listen", "IP:PORT", "where to listen (default 127.0.0.1:25101, the transmit client's peer)"},
                   {"gateway", "IP:PORT", "the gateway's xolt service (default 127.0.0.1:25100)"},
                   {"reports", "MS",
                    "every MS ms send a report round: stick state (150 type 14)\nwhile the stick upload is on, RC "
                    "state (150 type 15), a key\nevent (144) and a nest report (182), each round the next kind",
                    1, 3600000},
                   {"rounds", "N", "stop after N report rounds (needs --reports)", 1, 1000000},
                   {"duration", "MS", "stop after MS ms", 1, 86400000},
                   {"bad-crc", nullptr, "first send one key event whose CRC is broken"},
                   {"pcap", "FILE", "also write every datagram in and out to a capture file"}});
    const int done = args.parse(argc, argv);
    if (done >= 0) {
        return done;
    }
    if (!args.positionals().empty()) {
        return args.fail("unexpected argument '" + args.positionals().front() + "' (see lumbrix-sim radio --help)");
    }
    m_iReportPeriodMs = args.integer("reports");
    const int64_t rounds = args.integer("rounds");
    const int64_t duration = args.integer("duration");
    if (rounds != 0 && m_iReportPeriodMs == 0) {
        return args.fail("--rounds needs --reports");
    }
    m_bStickUpload = m_iReportPeriodMs != 0;
    if (CSimConfig::open(args, CSimConfig::E_SIDE_RADIO, m_socket, m_capture, m_gateway) != 0) {
        return 2;
    }
    printf("radio: listening on %s, answering the gateway at %s\n",
           CUdpPeer::addressText(m_socket.localAddress()).c_str(), CUdpPeer::addressText(m_gateway).c_str());

    if (args.has("bad-crc")) {
        // Both CRC bytes wrong; never a start byte last, so that the
        // receiver's parser is idle again for the next frame.
        std::string frame = radioSideFrame(m_ucTxSeq++, DEV_RC, XOLT_MSG_ID_RC_KEY,
                                           record({XOLT_RC_KEY_PHOTO, 1, 0, 2}, sizeof(__xolt_rc_key_t)));
        frame[frame.size() - 2] = static_cast<char>(frame[frame.size() - 2] ^ 0xFF);
        frame.back() = static_cast<char>(frame.back() ^ 0xFF);
        if (static_cast<uint8_t>(frame.back()) == XOLT_STX) {
            frame.back() = static_cast<char>(frame.back() ^ 0x01);
        }
        sendNow(frame);
    }
    const int64_t start = CSimStop::nowMs();
    int64_t nextReport = start;
    uint8_t datagram[MAX_DATAGRAM];
    while (!CSimStop::requested() && (duration == 0 || CSimStop::nowMs() - start < duration)) {
        const int64_t now = CSimStop::nowMs();
        while (!m_mapPending.empty() && m_mapPending.begin()->first <= now) {
            sendNow(m_mapPending.begin()->second);
            m_mapPending.erase(m_mapPending.begin());
        }
        const bool reporting = m_iReportPeriodMs != 0 && (rounds == 0 || m_iRoundsSent < rounds);
        if (reporting && now >= nextReport) {
            sendReportRound();
            nextReport += m_iReportPeriodMs;
        }
        if (rounds != 0 && m_iRoundsSent >= rounds && m_mapPending.empty()) {
            break;
        }
        int64_t wait =
            reporting ? std::min<int64_t>(IDLE_WAIT_MS, std::max<int64_t>(0, nextReport - now)) : IDLE_WAIT_MS;
        if (!m_mapPending.empty()) {
            wait = std::min(wait, std::max<int64_t>(0, m_mapPending.begin()->first - now));
        }
        sockaddr_in from{};
        const int n = m_socket.receive(datagram, sizeof(datagram), static_cast<int>(wait), from);
        if (n > 0) {
            onDatagram(datagram, static_cast<size_t>(n));
        }
    }
    printf("radio: stopped after %llu frames in and %llu frames out\n", static_cast<unsigned long long>(m_ulFramesIn),
           static_cast<unsigned long long>(m_ulFramesOut));
    return 0;
}

void CSimRadio::onDatagram(const uint8_t* data, size_t length)
{
    fputs(CXoltFrameText::datagram("gateway -> radio: ", data, length).c_str(), stdout);
    CXoltFrameText::frames(data, length, [this](const xolt_message_head_t& frame, bool crcGood) {
        if (!crcGood) {
            printf("    (dropped: the CRC is bad)\n");
            return;
        }
        ++m_ulFramesIn;
        answer(frame);
    });
}

void CSimRadio::answer(const xolt_message_head_t& frame)
{
    const uint8_t* payload = xolt_payload(&frame);
    const uint8_t code = frame.len > 0 ? payload[0] : 0;
    switch (frame.msgid) {
    case XOLT_MSG_ID_RC_SETTINGS:
        answerRcSettings(payload);
        break;
    case XOLT_MSG_ID_NORMAL_MSG:
        if (frame.len >= 2 && rd_u16le(payload) == XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME) {
            send(XOLT_MSG_ID_NORMAL_MSG, DEV_RC, {payload[0], payload[1], RESULT_OK});
        }
        break;
    case XOLT_MSG_ID_NEST_COMMON_COMMAND:
        send(XOLT_MSG_ID_NEST_COMMAND_ACK, DEV_NEST, {code, RESULT_OK});
        if (code == NEST_CMD_AUTO_TASK) {
            send(XOLT_MSG_ID_NEST_COMMON_COMMAND, DEV_NEST, {NEST_CMD_AUTO_TASK_SUCCESS, payload[3], 0, 0},
                 AUTO_TASK_DURATION_MS);
        }
        break;
    case XOLT_MSG_ID_AT_COMMAND:
        if (code == AT_COMAND_QUICK_MATCH_CHOOSE_CONNECT || code == AT_COMAND_QUICK_MATCH_CLEAR_BLACKLIST) {
            printf("    (no answer: the gateway has no use for a quick-match answer)\n");
            break;
        }
        send(XOLT_MSG_ID_AT_COMMAND_RESP, DEV_RC, record({code}, AT_COMAND_RESP_LEN));
        for (int step = 1; code == REQUEST_PAIR && step <= 4; ++step) {
            // Pairing progress, 25 % a step.
            send(XOLT_MSG_ID_AT_COMMAND_RESP, DEV_RC,
                 record({PAIR_PROGRESS_REPORT, static_cast<uint8_t>(25 * step)}, AT_COMAND_RESP_LEN),
                 step * PAIR_PROGRESS_STEP_MS);
        }
        break;
    case XOLT_SYSTEM_CMD_GET_VERSIONS: {
        std::vector<uint8_t> versions = {1}; // device type, the four lengths, the strings
        for (const char* version : s_versions) {
            versions.push_back(static_cast<uint8_t>(strlen(version)));
        }
        for (const char* version : s_versions) {
            versions.insert(versions.end(), version, version + strlen(version));
        }
        send(XOLT_SYSTEM_CMD_GET_VERSIONS, DEV_RC, versions);
        break;
    }
    default:
        printf("    (no answer: a notification)\n");
        break;
    }
}

void CSimRadio::answerRcSettings(const uint8_t* payload)
{
    std::vector<uint8_t> answer = record({payload[0], PHONE_SET_DATA_LEN}, PHONE_SET_LEN);
    switch (payload[0]) {
    case RC_CMD_SET_GIMBAL_SPEED:
        m_iGimbalSpeed = payload[2];
        answer[2] = RESULT_OK;
        break;
    case RC_CMD_GET_GIMBAL_SPEED:
        answer[2] = static_cast<uint8_t>(m_iGimbalSpeed);
        break;
    case RC_CMD_SET_MODE:
        m_iRockerMode = payload[2];
        answer[2] = RESULT_OK;
        break;
    case RC_CMD_GET_MODE:
        answer[2] = static_cast<uint8_t>(m_iRockerMode);
        break;
    case RC_CMD_CALIBRATION:
        answer[2] = CALIBRATION_OK;
        break;
    case RC_CMD_RAW_DATA:
        m_bStickUpload = payload[2] != 0;
        printf("    (no answer: stick state upload switched %s%s)\n", m_bStickUpload ? "on" : "off",
               m_iReportPeriodMs == 0 ? "; stick state goes out when the radio runs with --reports" : "");
        return;
    default:
        printf("    (no answer: the firmware ignores this sub-command)\n");
        return;
    }
    send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, answer);
    if (payload[0] == RC_CMD_CALIBRATION && payload[2] == RC_CALIBRATION_ENTER) {
        // The sticks' calibration state follows the answer: both sticks
        // calibrated, the middle valid.
        std::vector<uint8_t> state = record({RC_CMD_RC_CALIBRATION_STATUS_INFO, 17}, PHONE_SET_LEN);
        wr_u32le(state.data() + 2, 1);
        wr_u32le(state.data() + 6, 1);
        state[18] = 1;
        send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, state, CALIBRATION_REPORT_DELAY_MS);
    }
}

void CSimRadio::sendReportRound()
{
    const int64_t round = m_iRoundsSent++;
    if (m_bStickUpload) {
        // Sticks sweep slowly; the wheel follows the round.
        std::vector<uint8_t> sticks = record({RC_CMD_RAW_DATA, PHONE_SET_DATA_LEN}, PHONE_SET_LEN);
        const int16_t sweep = static_cast<int16_t>((round * 55) % 1320 - 660);
        wr_i16le(sticks.data() + 2, sweep);
        wr_i16le(sticks.data() + 4, static_cast<int16_t>(-sweep));
        wr_i16le(sticks.data() + 6, static_cast<int16_t>(sweep / 2));
        wr_i16le(sticks.data() + 12, static_cast<int16_t>(round % 100));
        send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, sticks);
    }

    // Battery %, rc and dsp signal quality, calibration state, battery degC;
    // the charging voltage in mV further on.
    std::vector<uint8_t> state =
        record({RC_CMD_GET_STATUS, PHONE_SET_DATA_LEN, static_cast<uint8_t>(90 - round % 50), 4, 5, 0, 31},
               PHONE_SET_CHARGING_VOLTAGE_OFFSET + 2);
    wr_u16le(state.data() + PHONE_SET_CHARGING_VOLTAGE_OFFSET, 8400);
    send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, state);

    // A key press; the zoom keys with a wheel value.
    const uint8_t key = s_reportKeys[round % std::size(s_reportKeys)];
    const bool zoom = key == XOLT_RC_KEY_ZOOM_IN || key == XOLT_RC_KEY_ZOOM_OUT;
    send(XOLT_MSG_ID_RC_KEY, DEV_RC, record({key, 1, static_cast<uint8_t>(zoom ? 3 : 0), 2}, sizeof(__xolt_rc_key_t)));

    send(XOLT_MSG_ID_NEST_COMMON_COMMAND, DEV_NEST, nestReport(s_nestReports[round % std::size(s_nestReports)], round));
}

void CSimRadio::send(uint8_t msgid, uint8_t sourceid, const std::vector<uint8_t>& payload, int delayMs)
{
    const std::string bytes = radioSideFrame(m_ucTxSeq++, sourceid, msgid, payload);
    if (delayMs == 0) {
        sendNow(bytes);
    } else {
        m_mapPending.emplace(CSimStop::nowMs() + delayMs, bytes);
    }
}

void CSimRadio::sendNow(const std::string& bytes)
{
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    fputs(CXoltFrameText::datagram("radio -> gateway: ", data, bytes.size()).c_str(), stdout);
    if (m_socket.sendTo(m_gateway, data, bytes.size()) != 0) {
        fprintf(stderr, "lumbrix-sim radio: cannot send to %s\n", CUdpPeer::addressText(m_gateway).c_str());
        return;
    }
    ++m_ulFramesOut;
}
