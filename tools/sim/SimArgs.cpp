#include "SimArgs.h"

#include <cerrno>
#include <cstdlib>

CSimArgs::CSimArgs(std::set<std::string> valueOptions, std::set<std::string> switches)
    : m_setValueOptions(std::move(valueOptions)), m_setSwitches(std::move(switches))
{
    m_setSwitches.insert("help");
}

int CSimArgs::parse(int argc, char** argv)
{
    for (int i = 0; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "-h") {
            m_mapValues["help"] = "";
            continue;
        }
        if (word.compare(0, 2, "--") != 0 || word.size() == 2) {
            m_vecPositionals.push_back(word);
            continue;
        }
        std::string name = word.substr(2);
        std::string value;
        const size_t eq = name.find('=');
        const bool inlineValue = eq != std::string::npos;
        if (inlineValue) {
            value = name.substr(eq + 1);
            name.resize(eq);
        }
        if (m_setSwitches.count(name) != 0 && !inlineValue) {
            m_mapValues[name] = "";
        } else if (m_setValueOptions.count(name) != 0) {
            if (!inlineValue) {
                if (i + 1 >= argc) {
                    m_strError = "option --" + name + " needs a value";
                    return -1;
                }
                value = argv[++i];
            }
            m_mapValues[name] = value;
        } else {
            m_strError = "unknown option '" + word + "'";
            return -1;
        }
    }
    return 0;
}

std::string CSimArgs::value(const std::string& name, const std::string& fallback) const
{
    auto it = m_mapValues.find(name);
    return it == m_mapValues.end() ? fallback : it->second;
}

int CSimArgs::intValue(const std::string& name, int64_t min, int64_t max, int64_t fallback, int64_t& out)
{
    out = fallback;
    if (!has(name)) {
        return 0;
    }
    if (!parseInt(value(name), min, max, out)) {
        m_strError = "option --" + name + ": '" + value(name) + "' is not a whole number from " + std::to_string(min) +
                     " to " + std::to_string(max);
        return -1;
    }
    return 0;
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
