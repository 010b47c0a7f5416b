#include "FuzzClient.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "FuzzGateway.h"
#include "quelby_protocol.pb.h"

uint64_t CFuzzClient::ms_ullSent = 0;

CFuzzClient::CFuzzClient(int serviceId)
{
    m_iServiceId = serviceId;
}

int CFuzzClient::start(const CClientEntityInfo& info)
{
    m_iServiceId = info.m_iServiceId;
    return 0;
}

int CFuzzClient::stop()
{
    return 0;
}

int CFuzzClient::sendData(int len, const char* data)
{
    ++ms_ullSent;
    if (len < 0 || (len > 0 && data == nullptr)) {
        fprintf(stderr, "service %d was sent a datagram of length %d\n", m_iServiceId, len);
        abort();
    }
    std::string why;
    if (m_iServiceId == E_SERVICE_ID_APP) {
        quelby::protocol::QuelbyMessage envelope;
        if (!envelope.ParseFromArray(data, len) || !envelope.has_head_data()) {
            fprintf(stderr, "the App was sent %d bytes that are not an envelope with a header\n", len);
            abort();
        }
    } else if (m_iServiceId == E_SERVICE_ID_RC_PROCESSOR) {
        if (!CFuzzGateway::isSoundWireFrame(reinterpret_cast<const uint8_t*>(data), static_cast<size_t>(len), why)) {
            fprintf(stderr, "the radio side was sent a broken frame of %d bytes: %s\n", len, why.c_str());
            abort();
        }
    }
    return 0;
}
