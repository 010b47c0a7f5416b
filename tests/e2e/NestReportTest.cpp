// The nest's reports (link msgid 182 from the nest) through the real gateway:
// each report type becomes its App notification, field by field; unknown
// types and short records are dropped.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "GatewayHarness.h"
#include "TestMessages.h"

namespace {

using namespace quelby::protocol;

const int WAIT_MS = 2000;

class NestReportTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(h.start("Debug")) << h.output(); }

    // Sends a report (type byte, then the record) and returns the App's
    // notification after checking its header.
    QuelbyMessage notificationFor(uint8_t type, const std::vector<uint8_t>& record, uint32_t messageId,
                                  int32_t headType)
    {
        std::vector<uint8_t> payload{type};
        payload.insert(payload.end(), record.begin(), record.end());
        EXPECT_TRUE(h.sendFrame(radioFrame(m_seq++, 32, 35, 182, payload, 59)));
        std::string datagram;
        QuelbyMessage m;
        EXPECT_TRUE(h.app.receive(datagram, WAIT_MS)) << h.output();
        EXPECT_TRUE(parseEnvelope(datagram, m));
        const CommonHead& head = m.head_data();
        EXPECT_EQ("nest", head.token());
        EXPECT_EQ(headType, head.head_type());
        EXPECT_EQ(0, head.device_id());
        EXPECT_EQ(2, head.source_id());
        EXPECT_EQ(0, head.version());
        EXPECT_EQ(messageId, static_cast<uint32_t>(head.message_id()));
        EXPECT_EQ(m_reports++, head.message_sequence());
        EXPECT_GT(head.time_stamp(), 1600000000000LL);
        return m;
    }

    void sendReport(const std::vector<uint8_t>& payload)
    {
        ASSERT_TRUE(h.sendFrame(radioFrame(m_seq++, 32, 35, 182, payload, 59)));
    }

    GatewayHarness h;
    uint8_t m_seq = 0;
    int32_t m_reports = 0; // notifications so far: the next one's sequence
};

// The 117-byte status record, sub-record by sub-record.
std::vector<uint8_t> statusRecord(uint8_t fanCount)
{
    std::vector<uint8_t> r = bytes({
        0x01, 0x00, 0x02,                                                                   // power
        0x03, 0x00, 0x01, 0x01, 0x00,                                                       // uav
        0x04, 0x00, 0x02, 0x5A, 0x10, 0x40, 0x38, 0xFF, 0xF4, 0x01, 0x1E, 0x00, 0x2C, 0x01, 0x70, 0x17, // chg0
        0x05, 0x00, 0x01, 0x64, 0x20, 0x4E, 0xE8, 0x03, 0x9C, 0xFF, 0x00, 0x00, 0x01, 0x00, 0xFF, 0xFF, // chg1
        0x06, 0x00,                                                                         // bat_stby
        0x07, 0x00,                                                                         // motor
        0x08, 0x00, 0xFA, 0x00, 0x58, 0x02, 0x01, 0x00,                                     // temp0
        0x09, 0x00, 0x38, 0xFF, 0xE8, 0x03, 0x00, 0x01,                                     // temp1
        0x0A, 0x00, 0x2D, 0x00, 0x0E, 0x01, 0x05, 0x00, 0x9D, 0x8A, 0x01, 0x00, 0x96, 0x00, 0x20, 0x03, // atmos
        0x0B, 0x00, 0x03,                                                                   // mpu
        0x0C, 0x00, 0x01,                                                                   // water
        0x0D, 0x00, 0x01, 0x02, 0xC8, 0x00, 0x2C, 0x01, 0x9C, 0xFF, 0x03,                   // tec
        0x05,                                                                               // led
        0x02, 0x04,                                                                         // sys_mode
        0x0E, 0x00, fanCount, 0x05, 0x50, 0xB8, 0x0B, 0xA0, 0x0F, 0x88, 0x13,               // fan
        0x01, 0x00, 0x02, 0x00, 0x03, 0x00, 0x04, 0x00, 0x05, 0x00,
    });
    return r;
}

TEST_F(NestReportTest, StatusReportCarriesEverySubRecord)
{
    const std::vector<uint8_t> record = statusRecord(3);
    ASSERT_EQ(117u, record.size());
    QuelbyMessage m = notificationFor(32, record, 790529, 3);
    NestStatusInfoNtfy s;
    ASSERT_TRUE(parseBody(m, s));
    EXPECT_EQ(1u, s.power().error());
    EXPECT_EQ(2u, s.power().state());
    EXPECT_EQ(3u, s.uav().error());
    EXPECT_EQ(1u, s.uav().inplace());
    EXPECT_EQ(1u, s.uav().poweron());
    EXPECT_EQ(0u, s.uav().charging());
    EXPECT_EQ(4u, s.chg0().error());
    EXPECT_EQ(2u, s.chg0().state());
    EXPECT_EQ(90u, s.chg0().soc());
    EXPECT_EQ(16400u, s.chg0().voltage());
    EXPECT_EQ(-200, s.chg0().current());
    EXPECT_EQ(500, s.chg0().temperature());
    EXPECT_EQ(30u, s.chg0().chargeminutes());
    EXPECT_EQ(300u, s.chg0().cyclecount());
    EXPECT_EQ(6000u, s.chg0().capacity());
    EXPECT_EQ(5u, s.chg1().error());
    EXPECT_EQ(1u, s.chg1().state());
    EXPECT_EQ(100u, s.chg1().soc());
    EXPECT_EQ(20000u, s.chg1().voltage());
    EXPECT_EQ(1000, s.chg1().current());
    EXPECT_EQ(-100, s.chg1().temperature());
    EXPECT_EQ(0u, s.chg1().chargeminutes());
    EXPECT_EQ(1u, s.chg1().cyclecount());
    EXPECT_EQ(65535u, s.chg1().capacity());
    EXPECT_EQ(6u, s.batstbyerror());
    EXPECT_EQ(7u, s.motorerror());
    EXPECT_EQ(8u, s.temp0().error());
    EXPECT_EQ(250, s.temp0().temperature());
    EXPECT_EQ(600u, s.temp0().humidity());
    EXPECT_EQ(1u, s.temp0().heater());
    EXPECT_EQ(0u, s.temp0().cooler());
    EXPECT_EQ(9u, s.temp1().error());
    EXPECT_EQ(-200, s.temp1().temperature());
    EXPECT_EQ(1000u, s.temp1().humidity());
    EXPECT_EQ(0u, s.temp1().heater());
    EXPECT_EQ(1u, s.temp1().cooler());
    EXPECT_EQ(10u, s.atmos().error());
    EXPECT_EQ(45u, s.atmos().windspeed());
    EXPECT_EQ(270u, s.atmos().winddirection());
    EXPECT_EQ(5u, s.atmos().rainfall());
    EXPECT_EQ(101021u, s.atmos().pressure());
    EXPECT_EQ(150, s.atmos().temperature());
    EXPECT_EQ(800u, s.atmos().humidity());
    EXPECT_EQ(11u, s.mpu().error());
    EXPECT_EQ(3u, s.mpu().tilt());
    EXPECT_EQ(12u, s.water().error());
    EXPECT_EQ(1u, s.water().leak());
    EXPECT_EQ(13u, s.tec().error());
    EXPECT_EQ(1u, s.tec().power());
    EXPECT_EQ(2u, s.tec().mode());
    EXPECT_EQ(200, s.tec().targettemperature());
    EXPECT_EQ(300, s.tec().insidetemperature());
    EXPECT_EQ(-100, s.tec().outsidetemperature());
    EXPECT_EQ(3u, s.tec().fanlevel());
    EXPECT_EQ(5u, s.led());
    EXPECT_EQ(2u, s.sysmode());
    EXPECT_EQ(4u, s.sysstep());
    EXPECT_EQ(14u, s.fan().error());
    EXPECT_EQ(5u, s.fan().runningmask());
    EXPECT_EQ(80u, s.fan().duty());
    ASSERT_EQ(3, s.fan().rpm_size());
    EXPECT_EQ(3000u, s.fan().rpm(0));
    EXPECT_EQ(4000u, s.fan().rpm(1));
    EXPECT_EQ(5000u, s.fan().rpm(2));
    EXPECT_TRUE(h.waitForOutput("[NestStatusInfo] length 117"));

    // A fan count beyond the record's eight slots reads the eight; extra
    // bytes after the record are ignored.
    std::vector<uint8_t> longer = statusRecord(200);
    longer.push_back(0x77);
    m = notificationFor(32, longer, 790529, 3);
    ASSERT_TRUE(parseBody(m, s));
    ASSERT_EQ(8, s.fan().rpm_size());
    EXPECT_EQ(3000u, s.fan().rpm(0));
    EXPECT_EQ(5u, s.fan().rpm(7));
    EXPECT_EQ(1u, s.power().error());
    EXPECT_TRUE(h.waitForOutput("[NestStatusInfo] length 118"));
}

TEST_F(NestReportTest, EveryOtherReportTypeBecomesItsNotification)
{
    {
        QuelbyMessage m = notificationFor(33,
                                          bytes({0x00, 0x00, 0x68, 0x42, 0x0C, 0xFE, 0x2C, 0x01, 0x4B, 0x01, 0x10, 0x27,
                                                 0x0F, 0x10, 0x10, 0x10, 0x11, 0x10, 0x12, 0x10, 0x13, 0x10, 0x14, 0x10}),
                                          790530, 3);
        NestBatteryDynamicStatusNtfy b;
        ASSERT_TRUE(parseBody(m, b));
        EXPECT_EQ(0u, b.error());
        EXPECT_EQ(17000u, b.voltage());
        EXPECT_EQ(-500, b.current());
        EXPECT_EQ(300, b.temperature());
        EXPECT_EQ(75u, b.soc());
        EXPECT_EQ(1u, b.state());
        EXPECT_EQ(10000u, b.remaincapacity());
        ASSERT_EQ(6, b.cellvoltage_size());
        EXPECT_EQ(4111u, b.cellvoltage(0));
        EXPECT_EQ(4116u, b.cellvoltage(5));
        EXPECT_TRUE(h.waitForOutput("[BAT_DYNAMIC_INFO] length 24"));
    }
    {
        QuelbyMessage m = notificationFor(34,
                                          bytes({0x70, 0x17, 0xA8, 0x16, 0xC0, 0x44, 0x7B, 0x00, 0x06, 0x61,
                                                 'Q', 'X', '2', '0', '2', '4', 'A', '0', '0', '0', '1', 0x00,
                                                 0xFF, 0xFF, 0xFF, 0xFF}),
                                          790536, 3);
        NestBatteryStaticStatusNtfy b;
        ASSERT_TRUE(parseBody(m, b));
        EXPECT_EQ(6000u, b.designcapacity());
        EXPECT_EQ(5800u, b.fullcapacity());
        EXPECT_EQ(17600u, b.designvoltage());
        EXPECT_EQ(123u, b.cyclecount());
        EXPECT_EQ(6u, b.cellcount());
        EXPECT_EQ(97u, b.health());
        EXPECT_EQ("QX2024A0001", b.serialnumber());
        EXPECT_TRUE(h.waitForOutput("[BAT_STATIC_INFO] length 26"));
    }
    {
        QuelbyMessage m =
            notificationFor(35, bytes({0x03, 0x00, 0xE0, 0x2E, 0x64, 0x00, 0xC8, 0x00, 0x32, 0x02}), 790531, 3);
        NestBackupBatteryStatusNtfy b;
        ASSERT_TRUE(parseBody(m, b));
        EXPECT_EQ(3u, b.error());
        EXPECT_EQ(12000u, b.voltage());
        EXPECT_EQ(100, b.current());
        EXPECT_EQ(200, b.temperature());
        EXPECT_EQ(50u, b.soc());
        EXPECT_EQ(2u, b.state());
        EXPECT_TRUE(h.waitForOutput("[BAT_ALTERNATE_INFO] length 10"));
    }
    {
        QuelbyMessage m = notificationFor(37,
                                          bytes({0x00, 0x00, 0x01, 0x1E, 0x64, 0x00, 0xF4, 0x01,   // hatch
                                                 0x21, 0x00, 0x02, 0xF6, 0x9C, 0xFF, 0x00, 0x00,   // x rod
                                                 0x00, 0x00, 0x03, 0x28, 0x10, 0x27, 0xE8, 0x03,   // y rod
                                                 0xFF, 0xFF, 0x04, 0x80, 0x00, 0x80, 0xFF, 0xFF}), // z rod
                                          790538, 3);
        NestMotorDriverStatusNtfy d;
        ASSERT_TRUE(parseBody(m, d));
        EXPECT_EQ(0u, d.hatch().error());
        EXPECT_EQ(1u, d.hatch().state());
        EXPECT_EQ(30, d.hatch().temperature());
        EXPECT_EQ(100, d.hatch().position());
        EXPECT_EQ(500u, d.hatch().current());
        EXPECT_EQ(33u, d.xrod().error());
        EXPECT_EQ(2u, d.xrod().state());
        EXPECT_EQ(-10, d.xrod().temperature());
        EXPECT_EQ(-100, d.xrod().position());
        EXPECT_EQ(0u, d.xrod().current());
        EXPECT_EQ(3u, d.yrod().state());
        EXPECT_EQ(40, d.yrod().temperature());
        EXPECT_EQ(10000, d.yrod().position());
        EXPECT_EQ(1000u, d.yrod().current());
        EXPECT_EQ(65535u, d.zrod().error());
        EXPECT_EQ(4u, d.zrod().state());
        EXPECT_EQ(-128, d.zrod().temperature());
        EXPECT_EQ(-32768, d.zrod().position());
        EXPECT_EQ(65535u, d.zrod().current());
        EXPECT_TRUE(h.waitForOutput("[MOTOR_DRIVER_STATUS] length 32"));
    }
    {
        QuelbyMessage m = notificationFor(39, bytes({0x01}), 790535, 3);
        ZrodReadyStatusNtfy z;
        ASSERT_TRUE(parseBody(m, z));
        EXPECT_EQ(1u, z.ready());
        EXPECT_TRUE(h.waitForOutput("[Z_ROD_READY_NTF]"));
    }
    {
        QuelbyMessage m = notificationFor(40, bytes({0x02, 0x01, 0x78, 0x56, 0x34, 0x12}), 790532, 3);
        NestSystemSelfCheckNtfy c;
        ASSERT_TRUE(parseBody(m, c));
        EXPECT_EQ(2u, c.state());
        EXPECT_EQ(1u, c.result());
        EXPECT_EQ(0x12345678u, c.faultmask());
        EXPECT_TRUE(h.waitForOutput("[SELF_CHECK_INFO] length: 6"));
    }
    {
        // The finished auto task is an event, not a periodic report.
        QuelbyMessage m = notificationFor(49, bytes({0x05, 0x02, 0x01}), 790533, 4);
        NestAutoCommandFinishNtfy a;
        ASSERT_TRUE(parseBody(m, a));
        EXPECT_EQ(5u, a.action());
        EXPECT_EQ(258u, a.errcode());
        EXPECT_TRUE(h.waitForOutput("case NEST_CMD_AUTO_TASK_SUCCESS, errcode: 258"));
    }
    {
        QuelbyMessage m = notificationFor(64, bytes({0x10, 0x0E, 0x00, 0x00, 0x5F, 0xC4, 0x01}), 790534, 3);
        TransmitHeartbeatNtfy t;
        ASSERT_TRUE(parseBody(m, t));
        EXPECT_EQ(3600u, t.uptime());
        EXPECT_EQ(95u, t.linkquality());
        EXPECT_EQ(-60, t.rssi());
        EXPECT_EQ(1u, t.state());
        EXPECT_TRUE(h.waitForOutput("[TransmitHB] length 7"));
    }
    EXPECT_EQ(0u, h.app.drain(100).size());
}

TEST_F(NestReportTest, UnknownTypesAndShortRecordsAreDropped)
{
    sendReport({});
    EXPECT_TRUE(h.waitForOutput("Nest report without a report type."));
    // 48 is a command, 36 and 38 are not reported, 65 is beyond the table.
    for (uint8_t type : {0, 36, 38, 48, 65, 255}) {
        sendReport({type, 0x01, 0x02, 0x03});
    }
    EXPECT_TRUE(h.waitForOutput("Unknown nest report type: 255, length: 3"));
    EXPECT_TRUE(h.waitForOutput("Unknown nest report type: 48, length: 3"));
    std::vector<uint8_t> status{32};
    const std::vector<uint8_t> record = statusRecord(3);
    status.insert(status.end(), record.begin(), record.end() - 1);
    sendReport(status);
    EXPECT_TRUE(h.waitForOutput("Nest report too short, type: 32, length: 116, need: 117"));
    sendReport({33, 0x00});
    EXPECT_TRUE(h.waitForOutput("Nest report too short, type: 33, length: 1, need: 24"));
    sendReport({39});
    EXPECT_TRUE(h.waitForOutput("Nest report too short, type: 39, length: 0, need: 1"));
    sendReport({49, 0x01, 0x00});
    EXPECT_TRUE(h.waitForOutput("Nest report too short, type: 49, length: 2, need: 3"));
    sendReport({64, 1, 2, 3, 4, 5, 6});
    EXPECT_TRUE(h.waitForOutput("Nest report too short, type: 64, length: 6, need: 7"));
    EXPECT_EQ(0u, h.app.drain(100).size());

    // Dropped reports use no sequence: the next good one is the first.
    QuelbyMessage m = notificationFor(39, bytes({0x00}), 790535, 3);
    ZrodReadyStatusNtfy z;
    ASSERT_TRUE(parseBody(m, z));
    EXPECT_EQ(0u, z.ready());
}

} // namespace
