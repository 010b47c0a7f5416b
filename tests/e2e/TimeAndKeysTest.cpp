// Time synchronisation and RC keys through the real gateway: the App's drone
// UTC time (link msgid 24) and RC system time (msgid 110, command 78)
// become frames to the RC, the RC's acknowledgement of command 78 becomes
// the App's RC_SYSTEM_TIME_MSG response with the queued sequence, and key
// events (msgid 144) become button events. Expected frames are written out
// by hand: header checksum seq + 75 (msgid 24) and seq + 167 (msgid 110), CRC
// closed with 128 and 183.
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "GatewayHarness.h"
#include "TestMessages.h"

namespace {

namespace qp = quelby::protocol;

constexpr uint32_t kDroneUtcTimeSync = 0x5108;
constexpr uint32_t kRcSystemTime = 0x9000A;
constexpr uint32_t kButtonInfoNtfy = 0x90001;
constexpr uint8_t kRc = 14;
constexpr uint8_t kApp = 32;
constexpr uint8_t kAckCrc = 183;
constexpr uint8_t kKeyCrc = 224;

std::string utcSync(int32_t seq, uint64_t gpsTime)
{
    qp::DroneUTCTimeSync body;
    body.set_gps_time(gpsTime);
    return appRequest(kDroneUtcTimeSync, seq, &body);
}

std::string systemTime(int32_t seq, int64_t interval, int32_t timezone, int32_t headType = 1)
{
    qp::SystemTimeInfo body;
    body.set_utctimeinterval(interval);
    body.set_timezone(timezone);
    return appRequest(kRcSystemTime, seq, &body, headType);
}

// The acknowledgement the RC sends for a command: id (u16 LE), result.
std::vector<uint8_t> ack(uint16_t msgid, uint8_t result)
{
    return radioFrame(0, kApp, kRc, 110, bytes({msgid & 0xFF, msgid >> 8, result}), kAckCrc);
}

std::vector<uint8_t> keyEvent(uint8_t id, uint8_t time, uint8_t value, uint8_t status)
{
    return radioFrame(0, kApp, kRc, 144, bytes({id, time, value, status, 0, 0, 0, 0}), kKeyCrc);
}

// What the system-time handler prints for a frame: a blank line before
// every tenth byte, then one "sz[i]: xx" line per byte.
std::string byteDump(const std::vector<uint8_t>& frame)
{
    std::string dump;
    char line[32];
    for (size_t i = 0; i < frame.size(); ++i) {
        if (i % 10 == 0) {
            dump += "\n";
        }
        snprintf(line, sizeof(line), "sz[%zu]: %02x\n", i, frame[i]);
        dump += line;
    }
    return dump;
}

TEST(TimeSync, DroneUtcTimeIsForwardedLittleEndianAndNumberedPerFrame)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();

    ASSERT_TRUE(h.sendEnvelope(utcSync(9, 0x0102030405060708ull)));
    EXPECT_EQ(bytes({0xFD, 0x08, 0x00, 0x00, 0x0E, 0x20, 0x18, 0x4B, 0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02,
                     0x01, 0x4B, 0x15}),
              receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("Drone UTC Time Sync ntf from MainCtrl")) << h.output();
    EXPECT_TRUE(h.waitForOutput("droneUtcTimeSync.gps_time: 72623859790382856")) << h.output();
    EXPECT_TRUE(h.waitForOutput("Send msg to transmit, DestServiceID: 2, bytes: 18")) << h.output();

    // No body: time 0.
    ASSERT_TRUE(h.sendEnvelope(appRequest(kDroneUtcTimeSync, 10)));
    EXPECT_EQ(bytes({0xFD, 0x08, 0x00, 0x01, 0x0E, 0x20, 0x18, 0x4C, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                     0x00, 0x67, 0xA4}),
              receiveFrame(h));

    // The 8-bit sequence runs on to 255 and wraps to 0.
    for (int n = 2; n <= 256; ++n) {
        ASSERT_TRUE(h.sendEnvelope(utcSync(n, 1)));
        const std::vector<uint8_t> frame = receiveFrame(h);
        ASSERT_EQ(18u, frame.size()) << "frame " << n;
        EXPECT_EQ(n % 256, frame[3]);
        EXPECT_EQ((n + 75) % 256, frame[7]);
    }
    // A notification: nothing goes to the App.
    EXPECT_TRUE(h.app.drain(100).empty());
}

TEST(TimeSync, SystemTimeIsQueuedSentDumpedAndAcknowledgedInOrder)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    qp::QuelbyMessage env;
    qp::RspMessage rsp;

    // An acknowledgement with nothing pending goes out with sequence 0.
    ASSERT_TRUE(h.sendFrame(ack(78, 0)));
    ASSERT_TRUE(receiveEnvelope(h, env, 2, kRcSystemTime, 0));
    ASSERT_TRUE(parseBody(env, rsp));
    EXPECT_EQ(qp::SUCCESS, rsp.status_code());
    EXPECT_EQ(0, rsp.result_code());
    EXPECT_TRUE(h.waitForOutput("Sequence Map is Empty!")) << h.output();
    EXPECT_TRUE(h.waitForOutput("receive SUCCESS response, xolt msg id: 78,seq:0")) << h.output();
    EXPECT_TRUE(h.waitForOutput("response of RC_SYSTEM_TIME")) << h.output();
    EXPECT_TRUE(h.waitForOutput("send msg to App, msg size is ")) << h.output();

    // Two requests, the second with a response head type: both are sent.
    ASSERT_TRUE(h.sendEnvelope(systemTime(41, 1700000000123ll, -5)));
    const std::vector<uint8_t> first = bytes({0xFD, 0x0E, 0x00, 0x00, 0x0E, 0x20, 0x6E, 0xA7, 0x4E, 0x00, 0x7B, 0x68,
                                              0xE5, 0xCF, 0x8B, 0x01, 0x00, 0x00, 0xFB, 0xFF, 0xFF, 0xFF, 0xE0, 0xC9});
    EXPECT_EQ(first, receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("RcSystemTime from App")) << h.output();
    EXPECT_TRUE(h.waitForOutput("systemTimeInfo.utctimeinterval: 1700000000123,systemTimeInfo.timezone: -5"))
        << h.output();
    EXPECT_TRUE(h.waitForOutput(byteDump(first) + "[")) << h.output();
    EXPECT_TRUE(h.waitForOutput("Send msg to transmit, DestServiceID: 2, bytes: 24")) << h.output();

    ASSERT_TRUE(h.sendEnvelope(systemTime(42, 0x1122334455667788ll, 480, 2)));
    EXPECT_EQ(bytes({0xFD, 0x0E, 0x00, 0x01, 0x0E, 0x20, 0x6E, 0xA8, 0x4E, 0x00, 0x88, 0x77, 0x66, 0x55, 0x44, 0x33,
                     0x22, 0x11, 0xE0, 0x01, 0x00, 0x00, 0xAC, 0x53}),
              receiveFrame(h));
    EXPECT_TRUE(h.waitForOutput("Parameter set msg, the head type is not request. head type:2")) << h.output();

    // Answered first in, first out; an error carries its code.
    ASSERT_TRUE(h.sendFrame(ack(78, 0)));
    ASSERT_TRUE(receiveEnvelope(h, env, 2, kRcSystemTime, 41));
    ASSERT_TRUE(parseBody(env, rsp));
    EXPECT_EQ(qp::SUCCESS, rsp.status_code());
    EXPECT_TRUE(h.waitForOutput("receive SUCCESS response, xolt msg id: 78,seq:41")) << h.output();

    ASSERT_TRUE(h.sendFrame(ack(78, 5)));
    ASSERT_TRUE(receiveEnvelope(h, env, 2, kRcSystemTime, 42));
    ASSERT_TRUE(parseBody(env, rsp));
    EXPECT_EQ(qp::ERROR, rsp.status_code());
    EXPECT_EQ(5, rsp.result_code());
    EXPECT_TRUE(h.waitForOutput("receive ERROR response, xolt msg id: 78,error code: 5,seq: 42")) << h.output();

    // A second acknowledgement of the same request finds the queue empty.
    ASSERT_TRUE(h.sendFrame(ack(78, 255)));
    ASSERT_TRUE(receiveEnvelope(h, env, 2, kRcSystemTime, 0));
    ASSERT_TRUE(parseBody(env, rsp));
    EXPECT_EQ(qp::ERROR, rsp.status_code());
    EXPECT_EQ(255, rsp.result_code());
    EXPECT_EQ(2u, countOccurrences(h.output(), "Sequence Map is Empty!"));

    // Acknowledgements of other commands are dropped and take nothing from
    // the queue.
    ASSERT_TRUE(h.sendEnvelope(systemTime(43, 1, 0)));
    ASSERT_EQ(24u, receiveFrame(h).size());
    ASSERT_TRUE(h.sendFrame(ack(110, 0)));
    EXPECT_TRUE(h.waitForOutput("key_id 110 is not support.")) << h.output();
    ASSERT_TRUE(h.sendFrame(ack(78 + 256, 0)));
    EXPECT_TRUE(h.waitForOutput("key_id 334 is not support.")) << h.output();
    EXPECT_TRUE(h.app.drain(100).empty());
}

struct KeyRow {
    uint8_t keyId;
    qp::RC_BUTTON_TYPE type;
    qp::RC_BUTTON_STATE state;
    bool wheel;
};

TEST(RcKeys, EveryMappedKeyBecomesOneButtonEvent)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    const KeyRow rows[] = {
        {4, qp::RC_BUTTON_TYPE_PHOTO, qp::RC_BUTTON_STATE_CLICK, false},
        {5, qp::RC_BUTTON_TYPE_RECORD, qp::RC_BUTTON_STATE_CLICK, false},
        {7, qp::RC_BUTTON_TYPE_LEFT_CUSTOM, qp::RC_BUTTON_STATE_CLICK, false},
        {8, qp::RC_BUTTON_TYPE_RIGHT_CUSTOM, qp::RC_BUTTON_STATE_CLICK, false},
        {9, qp::RC_BUTTON_TYPE_ZOOM_IN, qp::RC_BUTTON_STATE_ROLL, true},
        {10, qp::RC_BUTTON_TYPE_ZOOM_OUT, qp::RC_BUTTON_STATE_ROLL, true},
        {11, qp::RC_BUTTON_TYPE_PHOTO_RECORD, qp::RC_BUTTON_STATE_CLICK, false},
    };
    for (const KeyRow& row : rows) {
        SCOPED_TRACE(static_cast<int>(row.keyId));
        ASSERT_TRUE(h.sendFrame(keyEvent(row.keyId, 3, 200, 1)));
        qp::QuelbyMessage env;
        ASSERT_TRUE(receiveEnvelope(h, env, 4, kButtonInfoNtfy, 0));
        // The event itself is the data, no RspMessage around it.
        qp::RCHardwareButtonInfoNtfy event;
        ASSERT_TRUE(parseBody(env, event));
        EXPECT_EQ(row.type, event.buttontype());
        EXPECT_EQ(row.state, event.buttonstate());
        EXPECT_EQ(row.wheel ? 200 : 0, event.thumbwheelvalue());
        const std::string id = std::to_string(row.keyId);
        EXPECT_TRUE(h.waitForOutput("Remote control rc_key msg to app/main_ctrl. keyID:" + id)) << h.output();
        // The value field of this line shows the status byte.
        EXPECT_TRUE(h.waitForOutput("key_id: " + id + ",key_time: 3,key_value: 1,key_status: 1")) << h.output();
    }
    EXPECT_TRUE(h.waitForOutput("ZOOM IN value:200")) << h.output();
    EXPECT_TRUE(h.waitForOutput("ZOOM OUT value:200")) << h.output();
    // The size line follows the send, so the last one may still be on its way.
    for (int i = 0; i < 300 && countOccurrences(h.output(), "send msg to app, msg size is ") < 7; ++i) {
        usleep(10000);
    }
    EXPECT_EQ(7u, countOccurrences(h.output(), "send msg to app, msg size is "));
}

TEST(RcKeys, UnmappedKeysSendNothing)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    for (int id : {0, 1, 2, 3, 6, 12, 255}) {
        ASSERT_TRUE(h.sendFrame(keyEvent(static_cast<uint8_t>(id), 1, 2, 3)));
        EXPECT_TRUE(h.waitForOutput("key_id " + std::to_string(id) + " is not support.")) << h.output();
    }
    EXPECT_TRUE(h.app.drain(100).empty());

    // Still serving.
    qp::QuelbyMessage env;
    ASSERT_TRUE(h.sendFrame(keyEvent(4, 0, 0, 0)));
    ASSERT_TRUE(receiveEnvelope(h, env, 4, kButtonInfoNtfy, 0));
}

} // namespace
