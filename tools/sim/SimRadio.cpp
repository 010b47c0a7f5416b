#include "SimRadio.h"

#include <algorithm>
#include <cstring>
#include <string>

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

namespace {

constexpr size_t MAX_DATAGRAM = 4096;
constexpr int IDLE_WAIT_MS = 50;

// Answers and reports as the firmware sends them: full records.
constexpr uint16_t PHONE_SET_LEN = sizeof(__xolt_phone_set_t);
constexpr uint16_t RC_STATE_LEN = PHONE_SET_CHARGING_VOLTAGE_OFFSET + 2;
constexpr uint16_t NORMAL_ACK_LEN = 3;
constexpr uint16_t NEST_ACK_LEN = 2;
constexpr uint8_t RESULT_OK = 0;
constexpr uint8_t CALIBRATION_OK = 1;

// Pairing: the answer, then progress reports this far apart.
constexpr int PAIR_PROGRESS_STEP_MS = 50;
constexpr int8_t PAIR_PROGRESS[] = {25, 50, 75, 100};
// The nest reports the end of an automatic task this long after accepting it.
constexpr int AUTO_TASK_DURATION_MS = 150;
constexpr int CALIBRATION_REPORT_DELAY_MS = 20;

const uint8_t s_reportKeys[] = {XOLT_RC_KEY_ZOOM_IN,     XOLT_RC_KEY_PHOTO,        XOLT_RC_KEY_RECORD,
                                XOLT_RC_KEY_LEFT_CUSTOM, XOLT_RC_KEY_RIGHT_CUSTOM, XOLT_RC_KEY_ZOOM_OUT,
                                XOLT_RC_KEY_PHOTO_RECORD};

const char* const VERSION_TRANSMITTER = "TX-1.4.2";
const char* const VERSION_RC = "RC-2.0.7";
const char* const VERSION_MCU = "MCU-1.1.0";
const char* const VERSION_MOTOR = "MOT-0.9.3";

// ---- nest report records (the layouts the gateway's nest-report handler reads)

uint16_t nestStatusRecord(uint8_t* r, int64_t round)
{
    r[2] = 1;                                      // power: state
    r[5] = 1;                                      // uav: in place
    r[7] = 1;                                      //      charging
    r[10] = 2;                                     // chg0: state
    r[11] = static_cast<uint8_t>(80 + round % 20); // soc
    wr_u16le(r + 12, 25200);                       // voltage mV
    wr_i16le(r + 14, 3500);                        // current mA
    wr_i16le(r + 16, 312);                         // 0.1 degC
    wr_u16le(r + 18, 14);                          // minutes charging
    wr_u16le(r + 20, 42);                          // cycles
    wr_u16le(r + 22, 5000);                        // capacity mAh
    wr_i16le(r + 46, 245);                         // temp0: 24.5 degC
    wr_u16le(r + 48, 480);                         //        48.0 %RH
    r[51] = 1;                                     //        cooler on
    wr_i16le(r + 54, 231);                         // temp1
    wr_u16le(r + 56, 505);
    wr_u16le(r + 62, 32);     // atmos: wind 3.2 m/s
    wr_u16le(r + 64, 270);    //        from the west
    wr_u32le(r + 68, 101325); //        pressure Pa
    wr_i16le(r + 72, 198);    //        19.8 degC
    wr_u16le(r + 74, 550);    //        55.0 %RH
    r[78] = 1;                // mpu: tilt degrees
    r[84] = 1;                // tec: power
    r[85] = 2;                //      mode
    wr_i16le(r + 86, 250);
    wr_i16le(r + 88, 262);
    wr_i16le(r + 90, 198);
    r[92] = 3;   //      fan level
    r[93] = 1;   // led
    r[94] = 2;   // system mode
    r[98] = 2;   // fan: count
    r[99] = 3;   //      running mask
    r[100] = 60; //      duty %
    wr_u16le(r + 101, 2400);
    wr_u16le(r + 103, 2450);
    return 117;
}

uint16_t nestBatteryDynamicRecord(uint8_t* r, int64_t round)
{
    wr_u16le(r + 2, 25080);
    wr_i16le(r + 4, -1200);
    wr_i16le(r + 6, 301);
    r[8] = static_cast<uint8_t>(86 - round % 10);
    r[9] = 1;
    wr_u16le(r + 10, 4300);
    for (int cell = 0; cell < 6; ++cell) {
        wr_u16le(r + 12 + 2 * cell, static_cast<uint16_t>(4176 + cell));
    }
    return 24;
}

uint16_t nestBatteryStaticRecord(uint8_t* r, int64_t)
{
    wr_u16le(r, 5000);
    wr_u16le(r + 2, 4870);
    wr_u16le(r + 4, 22800);
    wr_u16le(r + 6, 42);
    r[8] = 6;
    r[9] = 97;
    const char serial[] = "LBX-BAT-000123";
    memcpy(r + 10, serial, sizeof(serial) - 1);
    return 26;
}

uint16_t nestBackupBatteryRecord(uint8_t* r, int64_t)
{
    wr_u16le(r + 2, 12600);
    wr_i16le(r + 4, 150);
    wr_i16le(r + 6, 256);
    r[8] = 99;
    return 10;
}

uint16_t nestMotorDriverRecord(uint8_t* r, int64_t)
{
    for (int driver = 0; driver < 4; ++driver) {
        uint8_t* d = r + 8 * driver;
        d[2] = 1;                                             // state
        d[3] = static_cast<uint8_t>(36 + driver);             // degC
        wr_i16le(d + 4, static_cast<int16_t>(120 * driver));  // position mm
        wr_u16le(d + 6, static_cast<uint16_t>(300 + driver)); // current mA
    }
    return 32;
}

uint16_t nestZrodReadyRecord(uint8_t* r, int64_t)
{
    r[0] = 1;
    return 1;
}

uint16_t nestSelfCheckRecord(uint8_t* r, int64_t)
{
    r[0] = 2; // finished
    r[1] = 0; // passed
    return 6;
}

uint16_t nestHeartbeatRecord(uint8_t* r, int64_t round)
{
    wr_u32le(r, static_cast<uint32_t>(round));
    r[4] = 96;
    r[5] = static_cast<uint8_t>(-58);
    r[6] = 1;
    return 7;
}

struct TNestReportSource {
    uint8_t type;
    uint16_t (*fill)(uint8_t* record, int64_t round);
};

const TNestReportSource s_nestReports[] = {
    {NEST_CMD_SYSTEM_STATUS, nestStatusRecord},          {NEST_CMD_BAT_DYNAMIC_INFO, nestBatteryDynamicRecord},
    {NEST_CMD_BAT_STATIC_INFO, nestBatteryStaticRecord}, {NEST_CMD_BAT_ALTERNATE_INFO, nestBackupBatteryRecord},
    {NEST_CMD_DRV_INFO1, nestMotorDriverRecord},         {NEST_CODE_ZROD_READY, nestZrodReadyRecord},
    {NEST_CODE_SELF_CHECK, nestSelfCheckRecord},         {NEST_CODE_TRANSMIT_HEARTBEAT, nestHeartbeatRecord},
};

} // namespace

void CSimRadio::printHelp(FILE* out)
{
    fprintf(out, "usage: lumbrix-sim radio [options]\n"
                 "\n"
                 "Stands in for the radio side (RC firmware and nest): listens where the\n"
                 "gateway's \"transmit\" client sends and answers every frame the gateway\n"
                 "builds. Prints each frame in and out with its bytes. Runs until SIGINT or\n"
                 "SIGTERM, --duration, or the last of --rounds.\n"
                 "\n"
                 "options:\n"
                 "  --config FILE      take both addresses from a gateway configuration file\n"
                 "  --listen IP:PORT   where to listen (default 127.0.0.1:25101, the transmit client's peer)\n"
                 "  --gateway IP:PORT  the gateway's xolt service (default 127.0.0.1:25100)\n"
                 "  --reports MS       every MS ms send a report round: stick state (150 type 14)\n"
                 "                     while the stick upload is on, RC state (150 type 15), a key\n"
                 "                     event (144) and a nest report (182), each round the next kind\n"
                 "  --rounds N         stop after N report rounds (needs --reports)\n"
                 "  --duration MS      stop after MS ms\n"
                 "  --bad-crc          first send one key event whose CRC is broken\n"
                 "  --pcap FILE        also write every datagram in and out to a capture file\n"
                 "  --help             this text\n"
                 "\n"
                 "answers: RC settings (150) get/set gimbal speed and rocker mode from the values\n"
                 "it remembers (speed 50, mode 1 at start), calibration results, the system-time\n"
                 "acknowledgement (110), nest acknowledgements (183, and an auto-task finish\n"
                 "report), the pairing answer and progress 25..100%% (201), the versions (219).\n"
                 "Time sync (24), virtual sticks (148) and quick-match commands get no answer.\n");
}

int CSimRadio::configure(CSimArgs& args)
{
    sockaddr_in listen{};
    std::string error;
    if (CSimConfig::resolve(args, CSimConfig::E_SIDE_RADIO, listen, m_gateway, error) != 0 ||
        args.intValue("reports", 1, 3600000, 0, m_iReportPeriodMs) != 0 ||
        args.intValue("rounds", 1, 1000000, 0, m_iRounds) != 0 ||
        args.intValue("duration", 1, 86400000, 0, m_iDurationMs) != 0) {
        fprintf(stderr, "lumbrix-sim radio: %s\n", error.empty() ? args.error().c_str() : error.c_str());
        return -1;
    }
    if (!args.positionals().empty()) {
        fprintf(stderr, "lumbrix-sim radio: unexpected argument '%s' (see lumbrix-sim radio --help)\n",
                args.positionals().front().c_str());
        return -1;
    }
    if (m_iRounds != 0 && m_iReportPeriodMs == 0) {
        fprintf(stderr, "lumbrix-sim radio: --rounds needs --reports\n");
        return -1;
    }
    m_bBadCrc = args.has("bad-crc");
    m_bStickUpload = m_iReportPeriodMs != 0;
    if (args.has("pcap") && m_capture.open(args.value("pcap")) != 0) {
        fprintf(stderr, "lumbrix-sim radio: cannot write the capture file '%s'\n", args.value("pcap").c_str());
        return -1;
    }
    if (m_socket.bind(listen, error) != 0) {
        fprintf(stderr, "lumbrix-sim radio: %s\n", error.c_str());
        return -1;
    }
    if (m_capture.isOpen()) {
        m_socket.setTap([this](const auto&... datagram) { m_capture.record(datagram...); });
    }
    return 0;
}

int CSimRadio::run(int argc, char** argv)
{
    CSimArgs args({"config", "listen", "gateway", "reports", "rounds", "duration", "pcap"}, {"bad-crc"});
    if (args.parse(argc, argv) != 0) {
        fprintf(stderr, "lumbrix-sim radio: %s (see lumbrix-sim radio --help)\n", args.error().c_str());
        return 2;
    }
    if (args.has("help")) {
        printHelp(stdout);
        return 0;
    }
    if (configure(args) != 0) {
        return 2;
    }
    printf("radio: listening on %s, answering the gateway at %s\n",
           CUdpPeer::addressText(m_socket.localAddress()).c_str(), CUdpPeer::addressText(m_gateway).c_str());

    const int64_t start = CSimStop::nowMs();
    int64_t nextReport = start;
    if (m_bBadCrc) {
        sendBadCrcFrame();
    }
    uint8_t datagram[MAX_DATAGRAM];
    while (!CSimStop::requested()) {
        const int64_t now = CSimStop::nowMs();
        if (m_iDurationMs != 0 && now - start >= m_iDurationMs) {
            break;
        }
        sendDue(now);
        const bool reporting = m_iReportPeriodMs != 0 && (m_iRounds == 0 || m_iRoundsSent < m_iRounds);
        if (reporting && now >= nextReport) {
            sendReportRound();
            nextReport += m_iReportPeriodMs;
        }
        if (m_iRounds != 0 && m_iRoundsSent >= m_iRounds && m_vecPending.empty()) {
            break;
        }
        int64_t wait = IDLE_WAIT_MS;
        if (reporting) {
            wait = std::min(wait, std::max<int64_t>(0, nextReport - now));
        }
        for (const TPending& pending : m_vecPending) {
            wait = std::min(wait, std::max<int64_t>(0, pending.dueMs - now));
        }
        sockaddr_in from{};
        const int n = m_socket.receive(datagram, sizeof(datagram), static_cast<int>(wait), from);
        if (n > 0) {
            receiveDatagram(datagram, n);
        }
    }
    printf("radio: stopped after %llu frames in and %llu frames out\n", static_cast<unsigned long long>(m_ulFramesIn),
           static_cast<unsigned long long>(m_ulFramesOut));
    return 0;
}

void CSimRadio::receiveDatagram(const uint8_t* data, int length)
{
    for (int i = 0; i < length; ++i) {
        const uint8_t result = xolt_frame_char_buffer(&m_rxBuffer, &m_rxStatus, data[i], &m_rxMessage);
        if (result == XOLT_FRAMING_OK) {
            onFrame(m_rxMessage);
            continue;
        }
        if (result != XOLT_FRAMING_BAD_CRC) {
            continue;
        }
        // The gateway closes its set-gimbal-speed request with the msgid
        // itself instead of the table's extra; the firmware takes it.
        const uint8_t* wire = xolt_wire_bytes(&m_rxMessage);
        const uint16_t covered = static_cast<uint16_t>(XOLT_HEADER_LEN - 1 + m_rxMessage.len);
        uint16_t crc = crc_calculate(wire + 1, covered);
        crc_accumulate(XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED, &crc);
        const uint8_t* received = xolt_payload(&m_rxMessage) + m_rxMessage.len;
        const bool setGimbalSpeed = m_rxMessage.msgid == XOLT_MSG_ID_RC_SETTINGS && m_rxMessage.len >= 1 &&
                                    xolt_payload(&m_rxMessage)[0] == RC_CMD_SET_GIMBAL_SPEED;
        if (setGimbalSpeed && rd_u16le(received) == crc) {
            onFrame(m_rxMessage);
        } else {
            printf("gateway -> radio: frame with a bad CRC dropped: %s\n    %s\n",
                   CXoltFrameText::describe(m_rxMessage).c_str(), CXoltFrameText::wireHex(m_rxMessage).c_str());
        }
    }
}

void CSimRadio::onFrame(const xolt_message_head_t& frame)
{
    ++m_ulFramesIn;
    printf("gateway -> radio: %s\n    %s\n", CXoltFrameText::describe(frame).c_str(),
           CXoltFrameText::wireHex(frame).c_str());
    const uint8_t* payload = xolt_payload(&frame);
    switch (frame.msgid) {
    case XOLT_MSG_ID_RC_SETTINGS:
        answerRcSettings(payload);
        break;
    case XOLT_MSG_ID_NORMAL_MSG:
        if (frame.len >= 2 && rd_u16le(payload) == XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME) {
            uint8_t ack[NORMAL_ACK_LEN] = {};
            wr_u16le(ack, XOLT_NORMAL_MSG_CMD_RC_SYSTEM_TIME);
            ack[2] = RESULT_OK;
            send(XOLT_MSG_ID_NORMAL_MSG, DEV_RC, ack, sizeof(ack));
        }
        break;
    case XOLT_MSG_ID_NEST_COMMON_COMMAND:
        answerNestCommand(payload);
        break;
    case XOLT_MSG_ID_AT_COMMAND:
        answerAtCommand(payload);
        break;
    case XOLT_SYSTEM_CMD_GET_VERSIONS:
        answerVersions();
        break;
    default:
        printf("    (no answer: a notification)\n");
        break;
    }
}

void CSimRadio::answerRcSettings(const uint8_t* payload)
{
    uint8_t answer[PHONE_SET_LEN] = {};
    answer[0] = payload[0];
    answer[1] = PHONE_SET_DATA_LEN;
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
        if (payload[2] == RC_CALIBRATION_ENTER) {
            // The sticks' calibration state follows the answer.
            uint8_t state[PHONE_SET_LEN] = {RC_CMD_RC_CALIBRATION_STATUS_INFO, 17};
            wr_u32le(state + 2, 1);
            wr_u32le(state + 6, 1);
            state[18] = 1;
            send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, answer, sizeof(answer));
            send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, state, sizeof(state), CALIBRATION_REPORT_DELAY_MS);
            return;
        }
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
    send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, answer, sizeof(answer));
}

void CSimRadio::answerNestCommand(const uint8_t* payload)
{
    const uint8_t ack[NEST_ACK_LEN] = {payload[0], RESULT_OK};
    send(XOLT_MSG_ID_NEST_COMMAND_ACK, DEV_NEST, ack, sizeof(ack));
    if (payload[0] == NEST_CMD_AUTO_TASK) {
        const uint8_t finish[4] = {NEST_CMD_AUTO_TASK_SUCCESS, payload[3], 0, 0};
        send(XOLT_MSG_ID_NEST_COMMON_COMMAND, DEV_NEST, finish, sizeof(finish), AUTO_TASK_DURATION_MS);
    }
}

void CSimRadio::answerAtCommand(const uint8_t* payload)
{
    if (payload[0] == AT_COMAND_QUICK_MATCH_CHOOSE_CONNECT || payload[0] == AT_COMAND_QUICK_MATCH_CLEAR_BLACKLIST) {
        printf("    (no answer: the gateway has no use for a quick-match answer)\n");
        return;
    }
    uint8_t answer[AT_COMAND_RESP_LEN] = {payload[0]};
    send(XOLT_MSG_ID_AT_COMMAND_RESP, DEV_RC, answer, sizeof(answer));
    if (payload[0] != REQUEST_PAIR) {
        return;
    }
    int delay = 0;
    for (int8_t progress : PAIR_PROGRESS) {
        delay += PAIR_PROGRESS_STEP_MS;
        uint8_t report[AT_COMAND_RESP_LEN] = {PAIR_PROGRESS_REPORT, static_cast<uint8_t>(progress)};
        send(XOLT_MSG_ID_AT_COMMAND_RESP, DEV_RC, report, sizeof(report), delay);
    }
}

void CSimRadio::answerVersions()
{
    const char* const versions[] = {VERSION_TRANSMITTER, VERSION_RC, VERSION_MCU, VERSION_MOTOR};
    uint8_t answer[XOLT_MAX_PAYLOAD_LEN] = {1}; // device type
    uint16_t length = 5;
    for (int i = 0; i < 4; ++i) {
        const size_t n = strlen(versions[i]);
        answer[1 + i] = static_cast<uint8_t>(n);
        memcpy(answer + length, versions[i], n);
        length = static_cast<uint16_t>(length + n);
    }
    send(XOLT_SYSTEM_CMD_GET_VERSIONS, DEV_RC, answer, length);
}

void CSimRadio::sendReportRound()
{
    const int64_t round = m_iRoundsSent++;
    if (m_bStickUpload) {
        // Sticks sweep slowly; the wheel follows the round.
        uint8_t sticks[PHONE_SET_LEN] = {RC_CMD_RAW_DATA, PHONE_SET_DATA_LEN};
        const int16_t sweep = static_cast<int16_t>((round * 55) % 1320 - 660);
        wr_i16le(sticks + 2, sweep);
        wr_i16le(sticks + 4, static_cast<int16_t>(-sweep));
        wr_i16le(sticks + 6, static_cast<int16_t>(sweep / 2));
        wr_i16le(sticks + 8, 0);
        wr_i16le(sticks + 12, static_cast<int16_t>(round % 100));
        send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, sticks, sizeof(sticks));
    }

    uint8_t state[RC_STATE_LEN] = {RC_CMD_GET_STATUS, PHONE_SET_DATA_LEN};
    state[2] = static_cast<uint8_t>(90 - round % 50); // battery %
    state[3] = 4;                                     // rc signal quality
    state[4] = 5;                                     // dsp signal quality
    state[5] = 0;                                     // calibration state
    state[6] = 31;                                    // battery degC
    wr_u16le(state + PHONE_SET_CHARGING_VOLTAGE_OFFSET, 8400);
    send(XOLT_MSG_ID_RC_SETTINGS, DEV_RC, state, sizeof(state));

    const uint8_t keyId = s_reportKeys[round % (sizeof(s_reportKeys) / sizeof(s_reportKeys[0]))];
    const bool zoom = keyId == XOLT_RC_KEY_ZOOM_IN || keyId == XOLT_RC_KEY_ZOOM_OUT;
    uint8_t key[sizeof(__xolt_rc_key_t)] = {keyId, 1, static_cast<uint8_t>(zoom ? 3 : 0), 2};
    send(XOLT_MSG_ID_RC_KEY, DEV_RC, key, sizeof(key));

    const TNestReportSource& source = s_nestReports[round % (sizeof(s_nestReports) / sizeof(s_nestReports[0]))];
    uint8_t report[1 + 128] = {source.type};
    const uint16_t recordLen = source.fill(report + 1, round);
    send(XOLT_MSG_ID_NEST_COMMON_COMMAND, DEV_NEST, report, static_cast<uint16_t>(1 + recordLen));
}

void CSimRadio::sendBadCrcFrame()
{
    const uint8_t key[sizeof(__xolt_rc_key_t)] = {XOLT_RC_KEY_PHOTO, 1, 0, 2};
    xolt_message_head_t frame{};
    frame.msgid = XOLT_MSG_ID_RC_KEY;
    memcpy(xolt_payload(&frame), key, sizeof(key));
    const uint16_t length =
        xolt_finalize_message(&frame, DEV_APP, DEV_RC, sizeof(key), xolt_message_crcs[XOLT_MSG_ID_RC_KEY], m_ucTxSeq);
    // Both CRC bytes wrong; never a start byte last, so that the receiver's
    // parser is idle again for the next frame.
    uint8_t* crc = xolt_payload(&frame) + sizeof(key);
    crc[0] = static_cast<uint8_t>(crc[0] ^ 0xFF);
    crc[1] = static_cast<uint8_t>(crc[1] ^ 0xFF);
    if (crc[1] == XOLT_STX) {
        crc[1] = static_cast<uint8_t>(crc[1] ^ 0x01);
    }
    sendBytes("radio -> gateway: " + CXoltFrameText::describe(frame) + ", CRC deliberately broken\n    " +
                  CXoltFrameText::wireHex(frame) + "\n",
              xolt_wire_bytes(&frame), length);
}

void CSimRadio::send(uint8_t msgid, uint8_t sourceid, const uint8_t* payload, uint16_t length, int delayMs)
{
    xolt_message_head_t frame{};
    frame.msgid = msgid;
    memcpy(xolt_payload(&frame), payload, length);
    const uint16_t wireLen =
        xolt_finalize_message(&frame, DEV_APP, sourceid, length, xolt_message_crcs[msgid], m_ucTxSeq);
    const std::string text =
        "radio -> gateway: " + CXoltFrameText::describe(frame) + "\n    " + CXoltFrameText::wireHex(frame) + "\n";
    const uint8_t* bytes = xolt_wire_bytes(&frame);
    if (delayMs == 0) {
        sendBytes(text, bytes, wireLen);
    } else {
        m_vecPending.push_back({CSimStop::nowMs() + delayMs, std::vector<uint8_t>(bytes, bytes + wireLen), text});
    }
}

void CSimRadio::sendBytes(const std::string& text, const uint8_t* bytes, size_t length)
{
    fputs(text.c_str(), stdout);
    fflush(stdout);
    if (m_socket.sendTo(m_gateway, bytes, length) != 0) {
        fprintf(stderr, "lumbrix-sim radio: cannot send to %s\n", CUdpPeer::addressText(m_gateway).c_str());
        return;
    }
    ++m_ulFramesOut;
}

void CSimRadio::sendDue(int64_t nowMs)
{
    // In the order they were queued; the queue stays short.
    for (auto it = m_vecPending.begin(); it != m_vecPending.end();) {
        if (it->dueMs <= nowMs) {
            sendBytes(it->text, it->bytes.data(), it->bytes.size());
            it = m_vecPending.erase(it);
        } else {
            ++it;
        }
    }
}
