#include "common/core/JsonParser.h"

#include <exception>
#include <fstream>
#include <memory>
#include <sstream>

#include "common/util/FileUtil.h"

namespace {

// Parses the whole stream with the classic reader, comments collected; the
// document goes to root only when it parses. The reader throws instead of
// failing on a document nested more than 1000 levels deep; that is caught
// here, at the library's edge, and is a parse failure like any other.
int parseInto(std::istream& in, CJsonNode& root)
{
    auto value = std::make_unique<Json::Value>();
    Json::Reader reader;
    bool parsed = false;
    try {
        parsed = reader.parse(in, *value, true);
    } catch (const std::exception&) {
        parsed = false;
    }
    if (!parsed) {
        return -1;
    }
    root.setJsonValue(value.release(), true);
    return 0;
}

} // namespace

int CJsonParser::loadFromFile(const std::string& path, CJsonNode& root)
{
    if (!CFileUtil::isFileExist(path.c_str())) {
        return -2;
    }
    std::ifstream in(path, std::ios::in | std::ios::binary);
    if (!in.is_open()) {
        return -1;
    }
    return parseInto(in, root);
}

int CJsonParser::loadFromStr(const std::string& text, CJsonNode& root)
{
    std::istringstream in(text);
    return parseInto(in, root);
}
