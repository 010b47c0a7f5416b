#include "msgHandle/xolt2Protobuf/nest/XoltNestReport.h"

#include "msgHandle/AppEnvelope.h"
#include "msgHandle/NestCommandDefine.h"
#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltMessageDefine.h"
#include "msgHandle/XoltProtocol.h"
#include "quelby_protocol.pb.h"

LUMBRIX_XOLT2PROTOBUF_HANDLE_IMPL(CXoltNestReport, "Xolt2Protobuf.XoltNestReport", XOLT_MSG_ID_NEST_COMMON_COMMAND)

using namespace quelby::protocol;

namespace {

// Every report record is packed and little-endian; offsets below are from
// the record's first byte (payload byte 1). A translator gets a record of at
// least its row's length, writes its log line and fills its notification.
// The notifications are kept from one report to the next (each translator
// sets every field), so a report allocates nothing once each type was seen.
typedef const google::protobuf::MessageLite& (*FuncTranslate)(const uint8_t* record, uint16_t length);

// ---- status report: the 117-byte _nest_report_t -------------------------

void readPower(const uint8_t* p, NestPowerStatus& out) // 3 bytes
{
    out.set_error(rd_u16le(p));
    out.set_state(p[2]);
}

void readUav(const uint8_t* p, NestUavStatus& out) // 5 bytes
{
    out.set_error(rd_u16le(p));
    out.set_inplace(p[2]);
    out.set_poweron(p[3]);
    out.set_charging(p[4]);
}

void readCharger(const uint8_t* p, NestChargerStatus& out) // 16 bytes
{
    out.set_error(rd_u16le(p));
    out.set_state(p[2]);
    out.set_soc(p[3]);
    out.set_voltage(rd_u16le(p + 4));
    out.set_current(rd_i16le(p + 6));
    out.set_temperature(rd_i16le(p + 8));
    out.set_chargeminutes(rd_u16le(p + 10));
    out.set_cyclecount(rd_u16le(p + 12));
    out.set_capacity(rd_u16le(p + 14));
}

void readClimate(const uint8_t* p, NestClimateStatus& out) // 8 bytes
{
    out.set_error(rd_u16le(p));
    out.set_temperature(rd_i16le(p + 2));
    out.set_humidity(rd_u16le(p + 4));
    out.set_heater(p[6]);
    out.set_cooler(p[7]);
}

void readWeather(const uint8_t* p, NestWeatherStatus& out) // 16 bytes
{
    out.set_error(rd_u16le(p));
    out.set_windspeed(rd_u16le(p + 2));
    out.set_winddirection(rd_u16le(p + 4));
    out.set_rainfall(rd_u16le(p + 6));
    out.set_pressure(rd_u32le(p + 8));
    out.set_temperature(rd_i16le(p + 12));
    out.set_humidity(rd_u16le(p + 14));
}

void readTec(const uint8_t* p, NestTecStatus& out) // 11 bytes
{
    out.set_error(rd_u16le(p));
    out.set_power(p[2]);
    out.set_mode(p[3]);
    out.set_targettemperature(rd_i16le(p + 4));
    out.set_insidetemperature(rd_i16le(p + 6));
    out.set_outsidetemperature(rd_i16le(p + 8));
    out.set_fanlevel(p[10]);
}

void readFan(const uint8_t* p, NestFanStatus& out) // 21 bytes
{
    constexpr uint8_t MAX_FANS = 8;
    out.set_error(rd_u16le(p));
    out.set_runningmask(p[3]);
    out.set_duty(p[4]);
    const uint8_t count = p[2] < MAX_FANS ? p[2] : MAX_FANS;
    out.clear_rpm();
    for (uint8_t i = 0; i < count; ++i) {
        out.add_rpm(rd_u16le(p + 5 + 2 * i));
    }
}

const google::protobuf::MessageLite& translateStatus(const uint8_t* r, uint16_t length)
{
    static NestStatusInfoNtfy s_body;
    KS_LOG_INFO("[NestStatusInfo] length " << length);
    readPower(r + 0, *s_body.mutable_power());
    readUav(r + 3, *s_body.mutable_uav());
    readCharger(r + 8, *s_body.mutable_chg0());
    readCharger(r + 24, *s_body.mutable_chg1());
    s_body.set_batstbyerror(rd_u16le(r + 40));
    s_body.set_motorerror(rd_u16le(r + 42));
    readClimate(r + 44, *s_body.mutable_temp0());
    readClimate(r + 52, *s_body.mutable_temp1());
    readWeather(r + 60, *s_body.mutable_atmos());
    s_body.mutable_mpu()->set_error(rd_u16le(r + 76));
    s_body.mutable_mpu()->set_tilt(r[78]);
    s_body.mutable_water()->set_error(rd_u16le(r + 79));
    s_body.mutable_water()->set_leak(r[81]);
    readTec(r + 82, *s_body.mutable_tec());
    s_body.set_led(r[93]);
    s_body.set_sysmode(r[94]);
    s_body.set_sysstep(r[95]);
    readFan(r + 96, *s_body.mutable_fan());
    return s_body;
}

// ---- the other reports --------------------------------------------------

const google::protobuf::MessageLite& translateBatteryDynamic(const uint8_t* r, uint16_t length) // 24 bytes
{
    constexpr int CELLS = 6;
    static NestBatteryDynamicStatusNtfy s_body;
    KS_LOG_INFO("[BAT_DYNAMIC_INFO] length " << length);
    s_body.set_error(rd_u16le(r));
    s_body.set_voltage(rd_u16le(r + 2));
    s_body.set_current(rd_i16le(r + 4));
    s_body.set_temperature(rd_i16le(r + 6));
    s_body.set_soc(r[8]);
    s_body.set_state(r[9]);
    s_body.set_remaincapacity(rd_u16le(r + 10));
    s_body.clear_cellvoltage();
    for (int i = 0; i < CELLS; ++i) {
        s_body.add_cellvoltage(rd_u16le(r + 12 + 2 * i));
    }
    return s_body;
}

const google::protobuf::MessageLite& translateBatteryStatic(const uint8_t* r, uint16_t length) // 26 bytes
{
    constexpr size_t SERIAL_LEN = 16;
    static NestBatteryStaticStatusNtfy s_body;
    KS_LOG_INFO("[BAT_STATIC_INFO] length " << length);
    s_body.set_designcapacity(rd_u16le(r));
    s_body.set_fullcapacity(rd_u16le(r + 2));
    s_body.set_designvoltage(rd_u16le(r + 4));
    s_body.set_cyclecount(rd_u16le(r + 6));
    s_body.set_cellcount(r[8]);
    s_body.set_health(r[9]);
    // The serial number is printable ASCII, padded with zeros; it ends at
    // the first byte that is not printable.
    const uint8_t* serial = r + 10;
    size_t len = 0;
    while (len < SERIAL_LEN && serial[len] >= 0x20 && serial[len] < 0x7F) {
        ++len;
    }
    s_body.set_serialnumber(reinterpret_cast<const char*>(serial), len);
    return s_body;
}

const google::protobuf::MessageLite& translateBackupBattery(const uint8_t* r, uint16_t length) // 10 bytes
{
    static NestBackupBatteryStatusNtfy s_body;
    KS_LOG_INFO("[BAT_ALTERNATE_INFO] length " << length);
    s_body.set_error(rd_u16le(r));
    s_body.set_voltage(rd_u16le(r + 2));
    s_body.set_current(rd_i16le(r + 4));
    s_body.set_temperature(rd_i16le(r + 6));
    s_body.set_soc(r[8]);
    s_body.set_state(r[9]);
    return s_body;
}

void readMotorDriver(const uint8_t* p, NestMotorDriver& out) // 8 bytes
{
    out.set_error(rd_u16le(p));
    out.set_state(p[2]);
    out.set_temperature(static_cast<int8_t>(p[3]));
    out.set_position(rd_i16le(p + 4));
    out.set_current(rd_u16le(p + 6));
}

const google::protobuf::MessageLite& translateMotorDrivers(const uint8_t* r, uint16_t length) // 32 bytes
{
    static NestMotorDriverStatusNtfy s_body;
    KS_LOG_INFO("[MOTOR_DRIVER_STATUS] length " << length);
    readMotorDriver(r, *s_body.mutable_hatch());
    readMotorDriver(r + 8, *s_body.mutable_xrod());
    readMotorDriver(r + 16, *s_body.mutable_yrod());
    readMotorDriver(r + 24, *s_body.mutable_zrod());
    return s_body;
}

const google::protobuf::MessageLite& translateZrodReady(const uint8_t* r, uint16_t) // 1 byte
{
    static ZrodReadyStatusNtfy s_body;
    KS_LOG_INFO("[Z_ROD_READY_NTF]");
    s_body.set_ready(r[0]);
    return s_body;
}

const google::protobuf::MessageLite& translateSelfCheck(const uint8_t* r, uint16_t length) // 6 bytes
{
    static NestSystemSelfCheckNtfy s_body;
    KS_LOG_INFO("[SELF_CHECK_INFO] length: " << length);
    s_body.set_state(r[0]);
    s_body.set_result(r[1]);
    s_body.set_faultmask(rd_u32le(r + 2));
    return s_body;
}

const google::protobuf::MessageLite& translateAutoTaskFinish(const uint8_t* r, uint16_t) // 3 bytes
{
    static NestAutoCommandFinishNtfy s_body;
    s_body.set_action(r[0]);
    s_body.set_errcode(rd_u16le(r + 1));
    KS_LOG_INFO("case NEST_CMD_AUTO_TASK_SUCCESS, errcode: " << s_body.errcode());
    return s_body;
}

const google::protobuf::MessageLite& translateHeartbeat(const uint8_t* r, uint16_t length) // 7 bytes
{
    static TransmitHeartbeatNtfy s_body;
    KS_LOG_INFO("[TransmitHB] length " << length);
    s_body.set_uptime(rd_u32le(r));
    s_body.set_linkquality(r[4]);
    s_body.set_rssi(static_cast<int8_t>(r[5]));
    s_body.set_state(r[6]);
    return s_body;
}

// One report type: the App notification it becomes and the shortest record
// it is read from.
struct TNestReport {
    uint8_t type;
    uint32_t messageId;
    int32_t headType;
    uint16_t recordLen;
    FuncTranslate translate;
};

const TNestReport s_reports[] = {
    {NEST_CMD_SYSTEM_STATUS, NEST_STATUS_INFO_NTFY, HEAD_TYPE_FIXED_FREQUENCY_REPORT, 117, translateStatus},
    {NEST_CMD_BAT_DYNAMIC_INFO, NEST_BATTERY_DYNAMIC_STATUS_NTFY, HEAD_TYPE_FIXED_FREQUENCY_REPORT, 24,
     translateBatteryDynamic},
    {NEST_CMD_BAT_STATIC_INFO, NEST_BATTERY_STATIC_STATUS_NTFY, HEAD_TYPE_FIXED_FREQUENCY_REPORT, 26,
     translateBatteryStatic},
    {NEST_CMD_BAT_ALTERNATE_INFO, NEST_BACKUP_BATTERY_STATUS_NTFY, HEAD_TYPE_FIXED_FREQUENCY_REPORT, 10,
     translateBackupBattery},
    {NEST_CMD_DRV_INFO1, NEST_MOTOR_DRIVER_STATUS_NTFY, HEAD_TYPE_FIXED_FREQUENCY_REPORT, 32, translateMotorDrivers},
    {NEST_CODE_ZROD_READY, ZROD_READY_STATUS_NTFY, HEAD_TYPE_FIXED_FREQUENCY_REPORT, 1, translateZrodReady},
    {NEST_CODE_SELF_CHECK, NEST_SYSTEM_SELF_CHECK_NTFY, HEAD_TYPE_FIXED_FREQUENCY_REPORT, 6, translateSelfCheck},
    {NEST_CMD_AUTO_TASK_SUCCESS, NEST_AUTO_COMMAND_FINISH_NTFY, HEAD_TYPE_EVENT_REPORT, 3, translateAutoTaskFinish},
    {NEST_CODE_TRANSMIT_HEARTBEAT, TRANSMIT_HEARTBEAT_NTFY, HEAD_TYPE_FIXED_FREQUENCY_REPORT, 7, translateHeartbeat},
};

// message_sequence of the next notification, counted over all report types.
int32_t s_iReportSequence = 0;

} // namespace

int32_t CXoltNestReport::handleMsg(__xolt_message_head* head)
{
    if (!acceptFrame(head)) {
        return 0;
    }
    if (head->len < 1) {
        KS_LOG_WARN("Nest report without a report type.");
        return 0;
    }
    const uint8_t type = xolt_payload(head)[0];
    const uint16_t length = static_cast<uint16_t>(head->len - 1);
    const TNestReport* report = nullptr;
    for (const TNestReport& row : s_reports) {
        if (row.type == type) {
            report = &row;
            break;
        }
    }
    if (report == nullptr) {
        KS_LOG_WARN("Unknown nest report type: " << static_cast<int>(type) << ", length: " << length);
        return 0;
    }
    if (length < report->recordLen) {
        KS_LOG_WARN("Nest report too short, type: " << static_cast<int>(type) << ", length: " << length
                                                    << ", need: " << report->recordLen);
        return 0;
    }

    const google::protobuf::MessageLite& body = report->translate(xolt_payload(head) + 1, length);
    CAppEnvelope::sendToApp(CAppEnvelope::TOKEN_NEST, report->headType, report->messageId, s_iReportSequence, &body);
    s_iReportSequence = static_cast<int32_t>(static_cast<uint32_t>(s_iReportSequence) + 1U);
    return 0;
}
