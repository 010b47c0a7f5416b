#include "framework/GlobalStatus.h"

#include "framework/PendingDepths.h"

int32_t CGlobalStatus::ms_iCurRcCalibrationCmd = -1;
int32_t CGlobalStatus::ms_iCurStartMatchingMsgSequence = -1;
int32_t CGlobalStatus::ms_iCurSetModeMsgSequence = -1;
int32_t CGlobalStatus::ms_iCurGetModeMsgSequence = -1;
int32_t CGlobalStatus::ms_iCurEnterCalibrationMsgSequence = -1;
int32_t CGlobalStatus::ms_iCurExitCalibrationMsgSequence = -1;
int32_t CGlobalStatus::ms_iCurSetGimbalSpeedSequence = -1;
int32_t CGlobalStatus::ms_iCurGetGimbalSpeedSequence = -1;
int32_t CGlobalStatus::ms_iDeviceInfoQuerySequence = -1;

std::map<uint32_t, CKsQueue<int>> CGlobalStatus::ms_mapMessageIDtoSequence;

void CGlobalStatus::pushSequence(uint32_t msgType, int sequence)
{
    CKsQueue<int>& queue = ms_mapMessageIDtoSequence[msgType];
    // Published before a push that may wait.
    CPendingDepths::publish(msgType, queue.size() + 1);
    queue.push(sequence);
}

bool CGlobalStatus::popSequence(uint32_t msgType, int& sequence)
{
    CKsQueue<int>& queue = ms_mapMessageIDtoSequence[msgType];
    if (queue.size() == 0) {
        return false;
    }
    queue.pop(sequence);
    CPendingDepths::publish(msgType, queue.size());
    return true;
}

void CGlobalStatus::popSequenceWaiting(uint32_t msgType, int& sequence)
{
    CKsQueue<int>& queue = ms_mapMessageIDtoSequence[msgType];
    queue.pop(sequence);
    CPendingDepths::publish(msgType, queue.size());
}
