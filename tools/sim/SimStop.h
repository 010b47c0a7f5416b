#ifndef LUMBRIX_SIM_STOP_H
#define LUMBRIX_SIM_STOP_H

#include <cstdint>

// How a simulator learns that it should stop: SIGINT or SIGTERM set a flag
// that its loop polls between receives. Also the simulators' clock.
class CSimStop {
public:
    static void install();
    static bool requested();
    // Monotonic milliseconds.
    static int64_t nowMs();
};

#endif
