#include "SimArgs.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

CSimArgs::CSimArgs(const char* mode, const char* usage, const char* about, std::vector<TSimOption> options)
    : m_strMode(mode), m_szUsage(usage), m_szAbout(about), m_vecOptions(std::move(options))
{
    m_vecOptions.push_back({"help", nullptr, "this text"});
}

int CSimArgs::parse(int argc, char** argv)
{
    for (int i = 0; i < argc; ++i) {
        const std::string word = argv[i];
        if (word != "-h" && (word.compare(0, 2, "--") != 0 || word.size() == 2)) {
            m_vecPositionals.push_back(word);
            continue;
        }
        std::string name = word == "-h" ? "help" : word.substr(2);
        const size_t eq = name.find('=');
        std::string value = eq == std::string::npos ? "" : name.substr(eq + 1);
        name.resize(std::min(eq, name.size()));
        const TSimOption* option = find(name);
        if (option == nullptr || (option->value == nullptr && eq != std::string::npos)) {
            return fail("unknown option '" + word + "' (see lumbrix-sim " + m_strMode + " --help)");
        }
        if (option->value != nullptr && eq == std::string::npos) {
            if (i + 1 >= argc) {
                return fail("option --" + name + " needs a value (see lumbrix-sim " + m_strMode + " --help)");
            }
            value = argv[++i];
        }
        int64_t number = 0;
        if (option->min < option->max && !parseInt(value, option->min, option->max, number)) {
            return fail("option --" + name + ": '" + value + "' is not a whole number from " +
                        std::to_string(option->min) + " to " + std::to_string(option->max));
        }
        m_mapValues[name] = value;
    }
    if (has("help")) {
        printHelp(stdout);
        return 0;
    }
    return -1;
}

void CSimArgs::printHelp(FILE* out) const
{
    fprintf(out, "usage: lumbrix-sim %s %s\n\n%s\noptions:\n", m_strMode.c_str(), m_szUsage, m_szAbout);
    for (const TSimOption& option : m_vecOptions) {
        const std::string words = std::string(option.name) + (option.value != nullptr ? " " : "") +
                                  (option.value != nullptr ? option.value : "");
        std::string help = option.help;
        for (size_t at = help.find('\n'); at != std::string::npos; at = help.find('\n', at + 1)) {
            help.insert(at + 1, 27, ' ');
        }
        fprintf(out, "  --%-22s %s\n", words.c_str(), help.c_str());
    }
}

int CSimArgs::fail(const std::string& text) const
{
    fprintf(stderr, "lumbrix-sim %s: %s\n", m_strMode.c_str(), text.c_str());
    return 2;
}

std::string CSimArgs::value(const std::string& name) const
{
    auto it = m_mapValues.find(name);
    return it == m_mapValues.end() ? "" : it->second;
}

int64_t CSimArgs::integer(const std::string& name) const
{
    const TSimOption* option = find(name);
    int64_t number = option->fallback;
    if (has(name)) {
        parseInt(value(name), option->min, option->max, number);
    }
    return number;
}

const TSimOption* CSimArgs::find(const std::string& name) const
{
    for (const TSimOption& option : m_vecOptions) {
        if (name == option.name) {
            return &option;
        }
    }
    return nullptr;
}

bool CSimArgs::parseInt(const std::string& text, int64_t min, int64_t max, int64_t& out)
{
    if (text.empty()) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const bool hex = text.find("0x") == 0 || text.find("0X") == 0;
    const long long value = strtoll(text.c_str(), &end, hex ? 16 : 10);
    if (errno != 0 || *end != '\0' || value < min || value > max) {
        return false;
    }
    out = value;
    return true;
}
