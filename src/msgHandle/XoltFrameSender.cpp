#include "msgHandle/XoltFrameSender.h"

#include <cstdio>
#include <cstring>

#include "dataAccess/client/ClientBase.h"
#include "dataAccess/client/ClientEntityManager.h"
#include "common/core/KsLog.h"

uint16_t CXoltFrameSender::build(xolt_message_head_t& frame, uint8_t msgid, uint8_t destid, const void* payload,
                                 uint16_t length, uint8_t crcExtra)
{
    frame.msgid = msgid;
    if (length > 0) {
        std::memcpy(xolt_payload(&frame), payload, length);
    }
    return xolt_finalize_message(&frame, destid, SOURCE_ID_APP, length, crcExtra, m_ucTxSeq);
}

int CXoltFrameSender::send(uint8_t msgid, uint8_t destid, const void* payload, uint16_t length, uint8_t crcExtra,
                           ESendLog log, const char* file, int line)
{
    xolt_message_head_t frame;
    const int bytes = build(frame, msgid, destid, payload, length, crcExtra);
    if (log == LOG_DUMP_AND_LINE) {
        const uint8_t* wire = xolt_wire_bytes(&frame);
        for (int i = 0; i < bytes; ++i) {
            if (i % 10 == 0) {
                printf("\n");
            }
            printf("sz[%d]: %02x\n", i, wire[i]);
        }
    }
    if (log != LOG_NONE) {
        KS_LOG_AT(E_LOG_LEVEL_INFO, file, line,
                  "Send msg to transmit, DestServiceID: " << E_SERVICE_ID_RC_PROCESSOR << ", bytes: " << bytes);
    }
    return CClientEntityManager::getInstance()->sendData(E_SERVICE_ID_RC_PROCESSOR, bytes,
                                                         reinterpret_cast<const char*>(xolt_wire_bytes(&frame)));
}
