#ifndef LUMBRIX_JSON_PARSER_H
#define LUMBRIX_JSON_PARSER_H

#include <string>

#include "common/core/JsonNode.h"

// Loads a JSON document from a file or from text into a CJsonNode, which
// then owns it. On failure the node is left as it was. Reports only through
// its results: the callers write the log lines.
class CJsonParser {
public:
    // -2 when no file exists at path, -1 when it cannot be read or parsed,
    // 0 on success.
    static int loadFromFile(const std::string& path, CJsonNode& root);
    // -1 on a parse error, 0 on success.
    static int loadFromStr(const std::string& text, CJsonNode& root);
};

#endif
