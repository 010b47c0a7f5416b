#include "XoltService.h"

#include "MsgHandleManager.h"
#include "XoltProtocol.h"

CReflexRegister<ICServiceBase> CXoltService::ms_reflexRegister("Service.xolt", &CXoltService::create);

void* CXoltService::create()
{
    return static_cast<ICServiceBase*>(new CXoltService());
}

int CXoltService::onReadData(CIpcHandleBase*, int len, const char* data)
{
    // Kept between datagrams: a frame may span several of them.
    static xolt_message_head_t s_msg;
    static xolt_status_t s_status;

    if (len < 1) {
        return 0;
    }
    for (int i = 0; i < len; ++i) {
        if (xolt_parse_char(XOLT_COMM_0, static_cast<uint8_t>(data[i]), &s_msg, &s_status) == XOLT_FRAMING_OK) {
            CMsgHandleManager::getInstance()->handleXoltMsg(&s_msg);
        }
    }
    return 0;
}
