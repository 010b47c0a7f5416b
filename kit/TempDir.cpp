#include "kit/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

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
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

bool writeFile(const std::string& path, const std::string& content)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    return !out.fail();
}
