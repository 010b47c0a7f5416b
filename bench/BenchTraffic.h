#ifndef LUMBRIX_BENCH_TRAFFIC_H
#define LUMBRIX_BENCH_TRAFFIC_H

#include <cstdint>

// The two high-rate paths the benchmark drives.
enum EBenchPath {
    // Raw stick state in (link msgid 150, sub-command 14), hardware-state
    // notification (RC_HARDWARE_STATE_NTFY) out to the App.
    E_BENCH_PATH_RADIO_TO_APP = 0,
    // Nest stick relay in (NEST_VIRTUAL_POLE_STATUS_NTFY), msgid 148 frame
    // out to the radio side.
    E_BENCH_PATH_APP_TO_RADIO = 1,
};

// The inputs of those paths and the tags in what comes back. Inputs are
// built with the sample traffic's frame and envelope builders, replies read
// with the gateway's CRC and the App protocol classes. Every input datagram
// carries a 32-bit tag in two 16-bit stick values that the gateway copies
// into its output, so a reply is matched to its request whatever the order.
// Tags are read both from the gateway's output and from the input itself as
// the reference relay echoes it back. All functions are thread-safe (the
// reader keeps one reused envelope per thread).
class CBenchTraffic {
public:
    static constexpr int MAX_DATAGRAM = 512;

    // Writes the input datagram of path with tag and link sequence seq into
    // out (at least MAX_DATAGRAM bytes); returns its length.
    static int buildInput(EBenchPath path, uint32_t tag, uint8_t seq, uint8_t* out);

    // Reads the tag of a datagram: a msgid 150 or 148 frame with a good
    // CRC, or an envelope whose message_id is RC_HARDWARE_STATE_NTFY or
    // NEST_VIRTUAL_POLE_STATUS_NTFY. False for anything else.
    static bool readTag(const uint8_t* data, int len, uint32_t& tag);

    static const char* pathName(EBenchPath path);
};

#endif
