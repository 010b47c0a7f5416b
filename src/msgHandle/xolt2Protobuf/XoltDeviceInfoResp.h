#ifndef LUMBRIX_XOLT_DEVICE_INFO_RESP_H
#define LUMBRIX_XOLT_DEVICE_INFO_RESP_H

#include "msgHandle/Xolt2ProtobufHandleBase.h"

// Turns the RC's version answer (link msgid 219) into the App's device-info
// response: a DroneVersionInfo list (transmitter, RC, MCU, motor) inside a
// SUCCESS RspMessage, with the sequence that CDeviceInfoQuery left in
// CGlobalStatus::ms_iDeviceInfoQuerySequence. The version lengths come from
// the radio and are not trusted: every string is cut to its 20-byte field
// and to the bytes the frame carried. Keeps no state of its own.
class CXoltDeviceInfoResp : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CXoltDeviceInfoResp)
public:
    int32_t handleMsg(__xolt_message_head* head) override;
};

#endif
