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

void CSimCounters::printHelp(FILE* out)
{
    fprintf(out, "usage: lumbrix-sim counters LOG...\n"
                 "\n"
                 "Turns the counter lines of gateway logs (the \"stats\" object of the\n"
                 "configuration) into tables: for each service and client a row per\n"
                 "interval with every counter's change per second, then the pending\n"
                 "requests and the recording as logged. Give rotated logs oldest first\n"
                 "(aiService.log.2 aiService.log.1 aiService.log); - reads standard input.\n");
}

int CSimCounters::run(int argc, char** argv)
{
    CSimArgs args({}, {});
    if (args.parse(argc, argv) != 0) {
        fprintf(stderr, "lumbrix-sim counters: %s\n", args.error().c_str());
        return 2;
    }
    if (args.has("help")) {
        printHelp(stdout);
        return 0;
    }
    if (args.positionals().empty()) {
        printHelp(stderr);
        return 2;
    }
    for (const std::string& path : args.positionals()) {
        if (path == "-") {
            read(std::cin);
            continue;
        }
        std::ifstream in(path);
        if (!in) {
            fprintf(stderr, "lumbrix-sim counters: cannot read %s\n", path.c_str());
            return 2;
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
        TSample sample;
        const size_t at = line.find(tag);
        const size_t colon = at == std::string::npos ? at : line.find(':', line.find(' ', at + tag.size()));
        if (colon == std::string::npos || !lineTime(line, sample.time, sample.seconds)) {
            continue;
        }
        // The name may hold an address with a colon: its last word ends at
        // the colon followed by a blank.
        const size_t end = line.find(": ", at + tag.size());
        const std::string name =
            line.substr(at + tag.size(), (end == std::string::npos ? colon : end) - at - tag.size());
        std::istringstream words(line.substr(end == std::string::npos ? colon + 1 : end + 2));
        for (std::string word; words >> word;) {
            const size_t eq = word.find('=');
            char* end = nullptr;
            const double value = eq == std::string::npos ? 0 : strtod(word.c_str() + eq + 1, &end);
            if (eq != std::string::npos && end != word.c_str() + eq + 1) {
                sample.values.push_back({word.substr(0, eq), value}); // "-": not known
            }
        }
        if (m_mapSeries.count(name) == 0) {
            m_vecOrder.push_back(name);
            m_mapSeries[name].rates =
                name.rfind("service ", 0) == 0 || name.rfind("client ", 0) == 0 || name.rfind("recording ", 0) == 0;
        }
        m_mapSeries[name].samples.push_back(sample);
    }
}

void CSimCounters::print(FILE* out) const
{
    for (const std::string& name : m_vecOrder) {
        const TSeries& series = m_mapSeries.at(name);
        // The columns: every key the lines had, in first-seen order.
        std::vector<std::string> keys;
        for (const TSample& s : series.samples) {
            for (const auto& kv : s.values) {
                if (std::find(keys.begin(), keys.end(), kv.first) == keys.end()) {
                    keys.push_back(kv.first);
                }
            }
        }
        fprintf(out, "%s%s\n%-23s", name.c_str(), series.rates ? " (per second)" : "", "time");
        for (const std::string& key : keys) {
            fprintf(out, " %*s", static_cast<int>(std::max<size_t>(key.size(), 9)), key.c_str());
        }
        fprintf(out, "\n");
        for (size_t i = series.rates ? 1 : 0; i < series.samples.size(); ++i) {
            const TSample& s = series.samples[i];
            const TSample* before = series.rates ? &series.samples[i - 1] : nullptr;
            const double dt = before != nullptr ? s.seconds - before->seconds : 0;
            fprintf(out, "%-23s%s", s.time.c_str(), keys.empty() ? " none" : "");
            for (const std::string& key : keys) {
                auto find = [&key](const TSample& x) {
                    for (const auto& kv : x.values) {
                        if (kv.first == key) {
                            return kv.second;
                        }
                    }
                    return -1.0;
                };
                const double now = find(s), then = before != nullptr ? find(*before) : 0;
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
