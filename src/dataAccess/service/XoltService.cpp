#include "dataAccess/service/XoltService.h"

#include "msgHandle/MsgHandleManager.h"
#include "msgHandle/XoltProtocol.h"

CReflexRegister<ICServiceBase> CXoltService::ms_reflexRegister("Service.xolt", &CXoltService::create);

void* CXoltService::create()
{
    return static_cast<ICServiceBase*>(new CXoltService());
}

namespace {

void dispatchFrame(xolt_message_head_t* msg)
{
    CMsgHandleManager::getInstance()->handleXoltMsg(msg);
}

} // namespace

int CXoltService::onReadData(CIpcHandleBase*, int len, const char* data)
{
    // Kept between datagrams, like the parser's channel state: a frame may
    // span several of them. Each frame is handled before the next byte is
    // fed, as the next frame overwrites it.
    static xolt_message_head_t s_msg;

    if (len < 1) {
        return 0;
    }
    xolt_parse_buffer(XOLT_COMM_0, reinterpret_cast<const uint8_t*>(data), static_cast<size_t>(len), &s_msg,
                      dispatchFrame);
    return 0;
}
