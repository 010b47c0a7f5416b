#ifndef LUMBRIX_GLOBAL_STATUS_H
#define LUMBRIX_GLOBAL_STATUS_H

#include <cstdint>
#include <map>

#include "common/core/KsQueue.h"

// Process-wide memory that pairs App requests with the link answers that
// come back later. Two schemes live side by side:
// - last-sequence integers: the request handler overwrites its integer with
//   the App's message_sequence, the answer handler copies it back (only the
//   latest request of a kind is answered with its own number);
// - queued sequences: one FIFO per App MessageType of the request, pushed by
//   the request handler and popped, oldest first, by the answer handler.
// Every member is static and owned by this class for the life of the
// process; the handlers read and write them directly. All users run on the
// event-loop thread, so the integers and the map are not locked; each queue
// carries its own lock.
class CGlobalStatus {
public:
    enum {
        E_RC_CMD_CALIBRATION_UNKNOWN = -1,
        E_RC_CMD_CALIBRATION_EXIT = 0,
        E_RC_CMD_CALIBRATION_ENTER = 1,
        E_RC_CMD_CALIBRATION_SET_CENTER = 2,
        E_RC_CMD_CALIBRATION_SET_MAX = 3,
    };

    static int32_t ms_iCurRcCalibrationCmd;
    static int32_t ms_iCurStartMatchingMsgSequence;
    static int32_t ms_iCurSetModeMsgSequence;
    static int32_t ms_iCurGetModeMsgSequence;
    static int32_t ms_iCurEnterCalibrationMsgSequence;
    static int32_t ms_iCurExitCalibrationMsgSequence;
    static int32_t ms_iCurSetGimbalSpeedSequence;
    static int32_t ms_iCurGetGimbalSpeedSequence;
    static int32_t ms_iDeviceInfoQuerySequence;

    // App MessageType of a request -> message_sequence values still waiting
    // for their answer. Entries are made on first use and never erased.
    static std::map<uint32_t, CKsQueue<int>> ms_mapMessageIDtoSequence;

    // Request side: remembers one more pending request of msgType. Waits
    // when 128 requests of that type are already unanswered.
    static void pushSequence(uint32_t msgType, int sequence);

    // Answer side: when a request of msgType is pending, moves its sequence
    // into sequence and returns true; otherwise returns false and leaves
    // sequence as it was (the caller logs and keeps its default). Never
    // waits: the queue is seen non-empty before it is popped.
    static bool popSequence(uint32_t msgType, int& sequence);

    // Answer side without the emptiness test: waits for a request when none
    // is pending. On the event-loop thread that wait never ends; only the
    // rocker-mode answer takes this path, and it does so on purpose.
    static void popSequenceWaiting(uint32_t msgType, int& sequence);

private:
    CGlobalStatus() = delete;
};

#endif
