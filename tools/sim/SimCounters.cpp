#include "SimCounters.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <sstream>

#include "SimArgs.h"

namespace {

// "[2026-11-21 08:40:21.5] ..." (milliseconds not padded): the time text to
// the seconds and the time in seconds; false for another line.
bool lineTime(const std::string& line, std::string& text, double& seconds)
{
    tm t{};
    int ms = 0;
    if (line.size() < 21 || line[0] != '[' ||
        sscanf(line.c_str(), "[%d-%d-%d %d:%d:%d.%d]", &t.tm_year, &t.tm_mon, &t.tm_mday, &t.tm_hour, &t.tm_min,
               &t.tm_sec, &ms) != 7) {
        return false;
    }
    text = line.substr(1, line.find(']') - 1);
    t.tm_year -= 1900;
    t.tm_mon -= 1;
    t.tm_isdst = -1;
    seconds = static_cast<double>(mktime(&t)) + ms / 1000.0;
    return true;
}

} // namespace

int CSimCounters::run(int argc, char** argv)
{
    CSimArgs args("counters", "LOG...",
                  "Turns the counter lines of gateway logs (the \"stats\" object of the\n"
                  "configuration) into tables: for each service and client a row per\n"
                  "interval with every counter's change per second, then the pending\n"
                  "requests and the recording as logged. Give rotated logs oldest first\n"
                  "(aiService.log.2 aiService.log.1 aiService.log); - reads standard input.\n",
                  {});
    const int done = args.parse(argc, argv);
    if (done >= 0) {
        return done;
    }
    if (args.positionals().empty()) {
        args.printHelp(stderr);
        return 2;
    }
    for (const std::string& path : args.positionals()) {
        if (path == "-") {
            read(std::cin);
            continue;
        }
        std::ifstream in(path);
        if (!in) {
            return args.fail("cannot read " + path);
        }
        read(in);
    }
    if (m_mapSeries.empty()) {
        fprintf(stderr, "lumbrix-sim counters: no counter lines (is \"stats\" on, at level Info?)\n");
        return 1;
    }
    print(stdout);
    return 0;
}

void CSimCounters::read(std::istream& in)
{
    static const std::string tag = " Counters ";
    for (std::string line; std::getline(in, line);) {
        // The name may hold an address with a colon: it ends at the colon
        // followed by a blank, or at the colon that ends a line without
        // values.
        const size_t at = line.find(tag);
        size_t end = at == std::string::npos ? at : line.find(": ", at);
        if (at != std::string::npos && end == std::string::npos && line.back() == ':') {
            end = line.size() - 1;
        }
        TSample sample;
        if (end == std::string::npos || !lineTime(line, sample.time, sample.seconds)) {
            continue;
        }
        const std::string name = line.substr(at + tag.size(), end - at - tag.size());
        TSeries& series = m_mapSeries[name];
        if (series.samples.empty()) {
            m_vecOrder.push_back(name);
            series.rates =
                name.rfind("service ", 0) == 0 || name.rfind("client ", 0) == 0 || name.rfind("recording ", 0) == 0;
        }
        std::istringstream words(line.substr(end + 1));
        for (std::string word; words >> word;) {
            const size_t eq = word.find('=');
            char* number = nullptr;
            const double value = eq == std::string::npos ? 0 : strtod(word.c_str() + eq + 1, &number);
            if (eq == std::string::npos || number == word.c_str() + eq + 1) {
                continue; // not a counter, or "-": not known
            }
            const std::string key = word.substr(0, eq);
            sample.values[key] = value;
            if (std::find(series.keys.begin(), series.keys.end(), key) == series.keys.end()) {
                series.keys.push_back(key);
            }
        }
        series.samples.push_back(sample);
    }
}

void CSimCounters::print(FILE* out) const
{
    for (const std::string& name : m_vecOrder) {
        const TSeries& series = m_mapSeries.at(name);
        fprintf(out, "%s%s\n%-23s", name.c_str(), series.rates ? " (per second)" : "", "time");
        for (const std::string& key : series.keys) {
            fprintf(out, " %*s", static_cast<int>(std::max<size_t>(key.size(), 9)), key.c_str());
        }
        fprintf(out, "\n");
        for (size_t i = series.rates ? 1 : 0; i < series.samples.size(); ++i) {
            const TSample& s = series.samples[i];
            const TSample* before = series.rates ? &series.samples[i - 1] : nullptr;
            const double dt = before != nullptr ? s.seconds - before->seconds : 0;
            fprintf(out, "%-23s%s", s.time.c_str(), series.keys.empty() ? " none" : "");
            for (const std::string& key : series.keys) {
                auto valueOf = [&key](const TSample& sample) {
                    auto it = sample.values.find(key);
                    return it == sample.values.end() ? -1.0 : it->second;
                };
                const double now = valueOf(s), then = before != nullptr ? valueOf(*before) : 0;
                const int width = static_cast<int>(std::max<size_t>(key.size(), 9));
                if (now < 0 || (before != nullptr && (then < 0 || now < then || dt <= 0))) {
                    // Missing, or the gateway started again in between.
                    fprintf(out, " %*s", width, "-");
                } else if (before != nullptr) {
                    fprintf(out, " %*.1f", width, (now - then) / dt);
                } else {
                    fprintf(out, " %*.0f", width, now);
                }
            }
            fprintf(out, "\n");
        }
        fprintf(out, "\n");
    }
}
