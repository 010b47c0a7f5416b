#ifndef LUMBRIX_KS_TIME_H
#define LUMBRIX_KS_TIME_H

#include <sys/time.h>

#include <cstdint>

// Stateless wall-clock helpers: the time text of the log lines, millisecond
// time stamps for the App headers, and sleeping.
class CKsTime {
public:
    // Local time as "YYYY-MM-DD hh:mm:ss.m" with the milliseconds unpadded
    // (5 ms prints ".5"). out must hold at least 24 bytes.
    static void getTimeStr(char* out);
    // The same text for a given instant.
    static void getTimeStr(const struct timeval& tv, char* out);
    // Milliseconds since the Unix epoch.
    static uint64_t getCurTimeStamp();
    // Sleeps ms milliseconds; returns at once when ms is below 1.
    static void sleep(int ms);
};

#endif
