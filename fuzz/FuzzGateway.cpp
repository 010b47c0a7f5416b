#include "FuzzGateway.h"

#include <cstdio>
#include <cstring>
#include <list>
#include <memory>

#include "ClientEntityManager.h"
#include "FuzzClient.h"
#include "GlobalStatus.h"
#include "KsLog.h"
#include "MsgHandleManager.h"
#include "Reflex.h"
#include "XoltMessageDefine.h"
#include "XoltProtocol.h"
#include "quelby_protocol.pb.h"

namespace {

template <typename Base>
size_t countHandlers(const char* prefix)
{
    std::list<Base*> created;
    CReflex<Base>::create(prefix, created);
    size_t count = 0;
    for (Base* handler : created) {
        if (handler != nullptr) {
            ++count;
            delete handler;
        }
    }
    return count;
}

} // namespace

void CFuzzGateway::quietLogger()
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

void CFuzzGateway::setUp(const char* targetName)
{
    quietLogger();
    CMsgHandleManager::getInstance()->init();
    CClientEntityManager::getInstance()->init();
    for (int id = E_SERVICE_ID_APP; id < E_SERVICE_ID_END; ++id) {
        CClientEntityManager::getInstance()->addClientEntity(std::make_shared<CFuzzClient>(id));
    }
    fprintf(stderr, "%s: %zu App-to-radio and %zu radio-to-App handlers registered\n", targetName,
            countHandlers<CProtobuf2XoltHandleBase>("Protobuf2Xolt"),
            countHandlers<CXolt2ProtobufHandleBase>("Xolt2Protobuf"));
}

void CFuzzGateway::resetLinkParser()
{
    memset(xolt_get_channel_buffer(XOLT_COMM_0), 0, sizeof(xolt_message_head_t));
    memset(xolt_get_channel_status(XOLT_COMM_0), 0, sizeof(xolt_status_t));
}

void CFuzzGateway::drainPendingQueues()
{
    for (auto& entry : CGlobalStatus::ms_mapMessageIDtoSequence) {
        int sequence = 0;
        while (CGlobalStatus::popSequence(entry.first, sequence)) {
        }
    }
}

void CFuzzGateway::keepPending(uint32_t msgType, size_t count)
{
    while (CGlobalStatus::ms_mapMessageIDtoSequence[msgType].size() < count) {
        CGlobalStatus::pushSequence(msgType, 0);
    }
}

size_t CFuzzGateway::mostPushesOfOneEnvelope(const uint8_t* data, size_t size)
{
    quelby::protocol::QuelbyMessage envelope;
    if (!envelope.ParseFromArray(data, static_cast<int>(size)) ||
        envelope.head_data().message_id() != quelby::protocol::PARAM_GET_MSG) {
        return 1;
    }
    quelby::protocol::DroneParamMessageRequest request;
    if (!request.ParseFromString(envelope.data().value())) {
        return 1;
    }
    size_t rocker = 0;
    for (const auto& param : request.params_list()) {
        if (param.param_id() == quelby::protocol::RC_ROCKER_CONTROL_MODE_MSG) {
            ++rocker;
        }
    }
    return rocker;
}

uint16_t CFuzzGateway::referenceCrc(const uint8_t* bytes, size_t len, uint8_t crcExtra)
{
    uint16_t crc = 0xFFFF;
    auto add = [&crc](uint8_t b) {
        crc ^= b;
        for (int i = 0; i < 8; ++i) {
            crc = (crc & 1) ? static_cast<uint16_t>((crc >> 1) ^ 0x8408) : static_cast<uint16_t>(crc >> 1);
        }
    };
    for (size_t i = 0; i < len; ++i) {
        add(bytes[i]);
    }
    add(crcExtra);
    return crc;
}

bool CFuzzGateway::isSoundWireFrame(const uint8_t* bytes, size_t len, std::string& why)
{
    if (len < XOLT_NUM_NON_PAYLOAD_BYTES) {
        why = "shorter than a header and a CRC";
        return false;
    }
    if (bytes[0] != XOLT_STX) {
        why = "no start byte";
        return false;
    }
    const size_t n = static_cast<size_t>(bytes[1]) | (static_cast<size_t>(bytes[2]) << 8);
    if (n > XOLT_MAX_PAYLOAD_LEN || n + XOLT_NUM_NON_PAYLOAD_BYTES != len) {
        why = "payload length " + std::to_string(n) + " does not fit a datagram of " + std::to_string(len);
        return false;
    }
    uint8_t sum = 0;
    for (size_t i = 0; i < XOLT_HEADER_LEN - 1; ++i) {
        sum = static_cast<uint8_t>(sum + bytes[i]);
    }
    if (sum != bytes[7]) {
        why = "header checksum";
        return false;
    }
    const uint8_t msgid = bytes[6];
    const uint16_t sent = static_cast<uint16_t>(bytes[8 + n] | (bytes[9 + n] << 8));
    const size_t covered = XOLT_HEADER_LEN - 1 + n;
    if (sent == referenceCrc(bytes + 1, covered, xolt_message_crcs[msgid])) {
        return true;
    }
    if (msgid == XOLT_MSG_ID_RC_SETTINGS &&
        sent == referenceCrc(bytes + 1, covered, XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED)) {
        return true;
    }
    why = "CRC of msgid " + std::to_string(msgid);
    return false;
}

bool CFuzzGateway::isSoundDeliveredRecord(const __xolt_message_head* msg, std::string& why)
{
    if (msg->len > XOLT_MAX_PAYLOAD_LEN) {
        why = "payload length " + std::to_string(msg->len) + " over 512";
        return false;
    }
    if (msg->len != (msg->len_lo | (msg->len_hi << 8))) {
        why = "length field disagrees with the length bytes";
        return false;
    }
    const uint8_t* wire = xolt_wire_bytes(msg);
    const uint8_t* crcBytes = xolt_payload(msg) + msg->len;
    const uint16_t stored = static_cast<uint16_t>(crcBytes[0] | (crcBytes[1] << 8));
    if (stored != referenceCrc(wire + 1, XOLT_HEADER_LEN - 1 + msg->len, xolt_message_crcs[msg->msgid])) {
        why = "CRC of msgid " + std::to_string(msg->msgid);
        return false;
    }
    return true;
}
