#include "common/util/KsTime.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>

void CKsTime::getTimeStr(char* out)
{
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    getTimeStr(tv, out);
}

void CKsTime::getTimeStr(const struct timeval& tv, char* out)
{
    if (out == nullptr) {
        return;
    }
    struct tm local;
    time_t seconds = tv.tv_sec;
    localtime_r(&seconds, &local);
    sprintf(out, "%4d-%02d-%02d %02d:%02d:%02d.%d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
            local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(tv.tv_usec / 1000));
}

uint64_t CKsTime::getCurTimeStamp()
{
    struct timeval tv;
    gettimeofday(&tv, nullptr);
    return static_cast<uint64_t>(tv.tv_sec) * 1000 + static_cast<uint64_t>(tv.tv_usec) / 1000;
}

void CKsTime::sleep(int ms)
{
    if (ms < 1) {
        return;
    }
    usleep(static_cast<useconds_t>(ms) * 1000);
}
