#include "main/CpuAffinity.h"

#include <cstdlib>
#include <unistd.h>

#include "common/core/KsLog.h"

uint64_t CCpuAffinity::parseCpuMask(const std::string& cpuList)
{
    uint64_t mask = 0;
    size_t begin = 0;
    while (true) {
        size_t end = cpuList.find(',', begin);
        const std::string piece = cpuList.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
        const int cpu = atoi(piece.c_str());
        if (cpu >= 0) {
            const int32_t bit = static_cast<int32_t>(1u << (cpu % 32));
            mask |= static_cast<uint64_t>(static_cast<int64_t>(bit));
        }
        if (end == std::string::npos) {
            break;
        }
        begin = end + 1;
    }
    return mask;
}

std::string CCpuAffinity::tasksetCommand(uint64_t mask, int pid)
{
    return "taskset -p " + std::to_string(mask) + " " + std::to_string(pid);
}

void CCpuAffinity::pin(const std::string& cpuList)
{
    const uint64_t mask = parseCpuMask(cpuList);
    if (mask == 0) {
        return;
    }
    const std::string cmd = tasksetCommand(mask, static_cast<int>(getpid()));
    KS_LOG_INFO("Set cpu list, cmd:" << cmd);
    int ret = system(cmd.c_str());
    (void)ret;
}
