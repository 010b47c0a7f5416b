// The link frame parser on arbitrary bytes: every frame it delivers has a
// payload of at most 512 bytes and a CRC that matches what it holds.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "FuzzGateway.h"
#include "XoltProtocol.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CFuzzGateway::resetLinkParser();
    xolt_message_head_t msg;
    xolt_status_t status;
    for (size_t i = 0; i < size; ++i) {
        if (xolt_parse_char(XOLT_COMM_0, data[i], &msg, &status) != XOLT_FRAMING_OK) {
            continue;
        }
        std::string why;
        if (!CFuzzGateway::isSoundDeliveredRecord(&msg, why)) {
            fprintf(stderr, "the parser delivered a bad frame at byte %zu: %s\n", i, why.c_str());
            abort();
        }
    }
    return 0;
}
