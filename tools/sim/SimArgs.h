#ifndef LUMBRIX_SIM_ARGS_H
#define LUMBRIX_SIM_ARGS_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

// The command line of one simulator mode: "--name value" options (and
// "--name" switches) anywhere among the positional words. Only words that
// start with "--" are options, so negative numbers stay positional; "-h" is
// "--help". The mode declares what it accepts; anything else is an error
// with a message that names the word.
class CSimArgs {
public:
    // valueOptions take a value, switches do not ("help" is always known).
    CSimArgs(std::set<std::string> valueOptions, std::set<std::string> switches);

    // 0, or -1 with the reason in error().
    int parse(int argc, char** argv);
    const std::string& error() const { return m_strError; }

    bool has(const std::string& name) const { return m_mapValues.count(name) != 0; }
    std::string value(const std::string& name, const std::string& fallback = "") const;
    // The option as an integer in [min, max]; fallback when absent. -1 and a
    // reason in error() when present but not such a number.
    int intValue(const std::string& name, int64_t min, int64_t max, int64_t fallback, int64_t& out);
    const std::vector<std::string>& positionals() const { return m_vecPositionals; }

    // Parses a whole decimal (or 0x hexadecimal) integer within [min, max].
    static bool parseInt(const std::string& text, int64_t min, int64_t max, int64_t& out);

private:
    std::set<std::string> m_setValueOptions;
    std::set<std::string> m_setSwitches;
    std::map<std::string, std::string> m_mapValues;
    std::vector<std::string> m_vecPositionals;
    std::string m_strError;
};

#endif
