#ifndef LUMBRIX_SIM_COUNTERS_H
#define LUMBRIX_SIM_COUNTERS_H

#include <cstdio>
#include <istream>
#include <map>
#include <string>
#include <vector>

// The gateway's counter lines ("Counters NAME: key=value ...", written
// every stats interval) turned into tables: one per endpoint, a row per
// interval with each counter's change as a rate per second; the pending
// requests and the recording's lines as they are. Reads log files (and
// their backups, oldest first, as given) or standard input ("-").
class CSimCounters {
public:
    static void printHelp(FILE* out);
    // Runs the mode with the words after "counters"; returns the exit code.
    int run(int argc, char** argv);

    // Reads the counter lines of one log.
    void read(std::istream& in);
    // Writes the tables.
    void print(FILE* out) const;

private:
    struct TSample {
        double seconds; // since the epoch of the line's time (local time)
        std::string time;
        std::vector<std::pair<std::string, double>> values;
    };
    struct TSeries {
        bool rates; // counters since start; otherwise levels (queue depths)
        std::vector<TSample> samples;
    };

    std::vector<std::string> m_vecOrder;
    std::map<std::string, TSeries> m_mapSeries;
};

#endif
