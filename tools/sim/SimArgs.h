#ifndef LUMBRIX_SIM_ARGS_H
#define LUMBRIX_SIM_ARGS_H

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

// One option of a simulator mode, as its help lists it. An option with a
// value name takes a value ("--timeout MS"), one without is a switch; an
// option whose min is below its max takes a whole number in [min, max],
// fallback when absent.
struct TSimOption {
    const char* name;
    const char* value; // nullptr: a switch
    const char* help;  // "\n" starts another line of it
    int64_t min = 0;
    int64_t max = 0;
    int64_t fallback = 0;
};

// The command line of one simulator mode ("lumbrix-sim MODE ..."): the
// options the mode declares, as "--name value", "--name=value" or "--name"
// anywhere among the positional words. Only words that start with "--" are
// options, so negative numbers stay positional; "-h" is "--help", which
// every mode knows.
class CSimArgs {
public:
    // about: what the help says after its usage line, before the options.
    CSimArgs(const char* mode, const char* usage, const char* about, std::vector<TSimOption> options);

    // -1 when the mode is to run; otherwise the exit code: 0 after --help
    // printed the help, 2 after a bad command line was named on standard
    // error.
    int parse(int argc, char** argv);
    void printHelp(FILE* out) const;
    // "lumbrix-sim MODE: text" on standard error; returns 2, the exit code
    // of a bad command line.
    int fail(const std::string& text) const;

    bool has(const std::string& name) const { return m_mapValues.count(name) != 0; }
    std::string value(const std::string& name) const;
    // An integer option's value (checked by parse), or its fallback.
    int64_t integer(const std::string& name) const;
    const std::vector<std::string>& positionals() const { return m_vecPositionals; }

    // Parses a whole decimal (or 0x hexadecimal) integer within [min, max].
    static bool parseInt(const std::string& text, int64_t min, int64_t max, int64_t& out);

private:
    const TSimOption* find(const std::string& name) const;

    std::string m_strMode;
    const char* m_szUsage;
    const char* m_szAbout;
    std::vector<TSimOption> m_vecOptions;
    std::map<std::string, std::string> m_mapValues;
    std::vector<std::string> m_vecPositionals;
};

#endif
