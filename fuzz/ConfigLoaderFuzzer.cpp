// The gateway's and the logger's configuration loaders on arbitrary text.
//
// The logger acts on what it loads: it opens, renames and removes files at
// the configured paths and runs mkdir through the shell for the card's
// image directories. So the target runs in a directory of its own and only
// lets through configurations whose paths stay inside it (relative, plain
// characters, no "..", or the gateway's own default paths) and whose file
// counts are small. The loaders still
// see every input that passes, unchanged.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "ConfigReader.h"
#include "FileUtil.h"
#include "FuzzGateway.h"
#include "JsonNode.h"
#include "JsonParser.h"
#include "LoggerConfig.h"
#include "LumbrixConfig.h"

namespace {

constexpr int kMostLogFiles = 16;

std::string& sandbox()
{
    static std::string s_path;
    return s_path;
}

void removeSandbox()
{
    std::error_code ignored;
    std::filesystem::remove_all(sandbox(), ignored);
}

bool isContainedPath(const std::string& path)
{
    // The gateway's own defaults are where it logs anyway.
    for (const char* fixed : {"/mnt/log/aiService.log", "/tmp/SD0/aiLog/", "/tmp/SD0/aiLog/aiImageTest/"}) {
        if (path == fixed) {
            return true;
        }
    }
    if (path.empty() || path.size() > 200 || path[0] == '/' || path.find("..") != std::string::npos) {
        return false;
    }
    for (char c : path) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '_' || c == '-' || c == '.' || c == '/';
        if (!plain) {
            return false;
        }
    }
    return true;
}

// What the logger would do with this text stays inside the sandbox.
bool loggerStaysInside(const std::string& text)
{
    CJsonNode root;
    CJsonNode log;
    if (CJsonParser::loadFromStr(text, root) != 0 || !root.getChildNode("log", log) || !log.isObject()) {
        // Nothing to load, or only defaults: the gateway's own fixed paths.
        return true;
    }
    for (const char* key : {"file", "logExternalPath", "logExternalImagePath"}) {
        CJsonNode value;
        std::string path;
        if (log.getChildNode(key, value) && value.getValue(path) && !isContainedPath(path)) {
            return false;
        }
    }
    CJsonNode value;
    int count = 0;
    if (log.getChildNode("fileCnt", value) && value.getValue(count) && count > kMostLogFiles) {
        return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    char dir[] = "/tmp/lumbrix-fuzz-config-XXXXXX";
    if (mkdtemp(dir) == nullptr || chdir(dir) != 0) {
        perror("fuzz_config: sandbox");
        abort();
    }
    sandbox() = dir;
    atexit(removeSandbox);
    CFuzzGateway::setUp("fuzz_config");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    // Both loaders first try the argument as a file name; the target is
    // about text, not about the files of this machine.
    if (CFileUtil::isFileExist(text.c_str())) {
        return -1;
    }
    CLumbrixConfig config;
    config.loadConfig(text);

    // The logger takes a C string, as it does from the command line.
    const std::string cText(text.c_str());
    if (!loggerStaysInside(cText)) {
        return -1;
    }
    initLogger(cText.c_str());
    CFuzzGateway::quietLogger();
    return 0;
}
