#include "msgHandle/protobuf2Xolt/nest/NestVirtualPoleStatus.h"

#include "msgHandle/XoltByteOrder.h"
#include "msgHandle/XoltFrameSender.h"
#include "msgHandle/XoltMessageDefine.h"
#include "quelby_protocol.pb.h"

// This module's transmit sequence.
static CXoltFrameSender s_frameSender;

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestVirtualPoleStatus, "Protobuf2Xolt.NestVirtualPoleStatus",
                                  quelby::protocol::NEST_VIRTUAL_POLE_STATUS_NTFY,
                                  "Init protobuf to xolt handle, msg id:")

int32_t CNestVirtualPoleStatus::handleMsg(quelby::protocol::QuelbyMessage& msg)
{
    // Reused from notification to notification (the parse clears it first).
    static thread_local quelby::protocol::NestVirtualPoleStateNtfy s_sticks;
    const quelby::protocol::NestVirtualPoleStateNtfy& sticks = s_sticks;
    parseBody(msg, s_sticks);

    // Seven 16-bit values in the nest's order, each the low 16 bits of its field.
    const int32_t values[] = {sticks.lefthorizontalvalue(), sticks.righthorizontalvalue(), sticks.rightverticalvalue(),
                              sticks.leftverticalvalue(),   sticks.generalkey(),           sticks.gimbalpitch(),
                              sticks.combinedkey()};
    uint8_t payload[XOLT_MSG_LEN_NEST_VIRTUAL_STICK];
    for (size_t i = 0; i < sizeof(values) / sizeof(values[0]); ++i) {
        wr_u16le(payload + 2 * i, static_cast<uint16_t>(values[i]));
    }

    // Counted with wrap-around instead of signed overflow.
    ms_iCount = static_cast<int32_t>(static_cast<uint32_t>(ms_iCount) + 1U);
    s_frameSender.send(XOLT_MSG_ID_NEST_VIRTUAL_STICK, DEV_NEST, payload, sizeof(payload),
                       XOLT_MSG_CRC_NEST_VIRTUAL_STICK,
                       ms_iCount % 120 == 1 ? CXoltFrameSender::LOG_LINE : CXoltFrameSender::LOG_NONE);
    return 0;
}
