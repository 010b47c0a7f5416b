#include "kit/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

CTempDir::CTempDir()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/lumbrix-test-XXXXXX";
    char* made = mkdtemp(pattern.data());
    m_path = made ? made : "";
}

CTempDir::~CTempDir()
{
    if (!m_path.empty()) {
        std::error_code ec;
        std::filesystem::remove_all(m_path, ec);
    }
}

std::string readFile(const std::string& path)
{
    // Through the stream buffer in one go: outputs of many megabytes are
    // read often, and the tests' code is unoptimised.
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

bool writeFile(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    return !out.fail();
}
