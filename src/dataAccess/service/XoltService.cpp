#include "dataAccess/service/XoltService.h"

#include "framework/EndpointTap.h"
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

// The tap of the link service that is parsing (there is one).
CEndpointTap* s_pParsingTap = nullptr;

void countAndDispatchFrame(xolt_message_head_t* msg)
{
    s_pParsingTap->countAccepted();
    dispatchFrame(msg);
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
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(data);
    if (m_pTap == nullptr) {
        xolt_parse_buffer(XOLT_COMM_0, bytes, static_cast<size_t>(len), &s_msg, dispatchFrame);
        return 0;
    }
    s_pParsingTap = m_pTap;
    xolt_parse_buffer(XOLT_COMM_0, bytes, static_cast<size_t>(len), &s_msg, countAndDispatchFrame);
    return 0;
}

void CXoltService::addCounters(CEndpointTap& tap)
{
    tap.addCounter("framesAccepted", tap.accepted());
    tap.addCounter("badCrc", xolt_get_rx_counts().bad_crc_frames);
    tap.addCounter("bytesSkipped", xolt_get_rx_counts().skipped_bytes);
    tap.addCounter("noHandler", CMsgHandleManager::getInstance()->unhandledXolt());
}
