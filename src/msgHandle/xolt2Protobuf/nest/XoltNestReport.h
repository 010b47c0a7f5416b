#ifndef LUMBRIX_XOLT_NEST_REPORT_H
#define LUMBRIX_XOLT_NEST_REPORT_H

#include "msgHandle/Xolt2ProtobufHandleBase.h"

// Link msgid 182 from the nest: its periodic reports and events. Payload byte
// 0 is the report type, the report's record follows. Each known type becomes
// one App notification (token "nest") numbered by this handler's own report
// counter; unknown types and short records are dropped. Created and owned by
// the handler manager; the report counter and the reused notification bodies
// are statics of its module.
class CXoltNestReport : public CXolt2ProtobufHandleBase {
    LUMBRIX_XOLT2PROTOBUF_HANDLE(CXoltNestReport)

public:
    int32_t handleMsg(__xolt_message_head* head) override;
};

#endif
