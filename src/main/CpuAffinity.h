#ifndef LUMBRIX_CPU_AFFINITY_H
#define LUMBRIX_CPU_AFFINITY_H

#include <cstdint>
#include <string>

// Turns the command line's CPU list into the taskset command that pins the
// process. The list is split at every ",", each piece read with atoi; a
// number n >= 0 sets the 32-bit value 1 << (n % 32), sign-extended to 64
// bits, so 31 sets bits 31 to 63. The mask is written in decimal digits.
class CCpuAffinity {
public:
    static uint64_t parseCpuMask(const std::string& cpuList);
    // "taskset -p <mask in decimal> <pid>"
    static std::string tasksetCommand(uint64_t mask, int pid);
    // Logs and runs the command for cpuList; does nothing for a zero mask.
    static void pin(const std::string& cpuList);
};

#endif
