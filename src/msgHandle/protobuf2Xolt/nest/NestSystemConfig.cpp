#include "msgHandle/protobuf2Xolt/nest/NestSystemConfig.h"

#include "msgHandle/XoltByteOrder.h"

LUMBRIX_PROTOBUF2XOLT_HANDLE_IMPL(CNestSystemConfig, "Protobuf2Xolt.NestSystemConfig",
                                  quelby::protocol::NEST_SYSTEM_CONFIG_MSG, "Init protobuf to xolt handle, msg id:")

void CNestSystemConfig::logBody(const quelby::protocol::NestSystemConfig& body)
{
    KS_LOG_INFO("nest type: " << body.nesttype() << "\n airOpenLimit: " << body.airopenlimit()
                              << "\n airCloseLimit: " << body.aircloselimit() << "\n unixTime: " << body.unixtime()
                              << "\n autoDischarge: " << body.autodischarge()
                              << "\n autoCharge: " << body.autocharge());
}

uint16_t CNestSystemConfig::fillArgs(const quelby::protocol::NestSystemConfig& body, uint8_t* args)
{
    markArgs(args);
    args[2] = static_cast<uint8_t>(body.airopenlimit());
    args[3] = static_cast<uint8_t>(body.aircloselimit());
    wr_u32le(args + 4, static_cast<uint32_t>(body.unixtime()));
    args[8] = static_cast<uint8_t>(body.autodischarge());
    args[9] = static_cast<uint8_t>(body.autocharge());
    return 10;
}
