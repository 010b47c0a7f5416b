#ifndef LUMBRIX_CONFIG_READER_H
#define LUMBRIX_CONFIG_READER_H

#include <string>

#include "common/core/JsonNode.h"

// The reading rules shared by the gateway's and the logger's configuration:
// the document comes from a file or, when no file of that name exists, from
// the argument itself as JSON text; each key read is reported at Error level
// when it is missing or has the wrong type.
class CConfigReader {
public:
    enum {
        E_READ_OK = 0,
        E_READ_MISSING = 1,
        E_READ_INVALID = -1,
    };

    // 0 on success; -1 after logging "Fail to load json, json:".
    static int load(const std::string& fileOrText, CJsonNode& root);

    // Reads key of node into value. Logs "...the key is not exist. key:" and
    // returns E_READ_MISSING when absent (value untouched), logs "...the value
    // type is invalid. key:" and returns E_READ_INVALID on a wrong type.
    template <typename T>
    static int readValue(CJsonNode& node, const std::string& key, T& value)
    {
        CJsonNode child;
        if (!node.getChildNode(key, child)) {
            logMissing(key);
            return E_READ_MISSING;
        }
        if (!child.getValue(value)) {
            logInvalid(key);
            return E_READ_INVALID;
        }
        return E_READ_OK;
    }

    // A required key: missing and invalid are both failures (-1).
    template <typename T>
    static int readRequired(CJsonNode& node, const std::string& key, T& value)
    {
        return readValue(node, key, value) == E_READ_OK ? 0 : -1;
    }

    // An optional key: only a wrong type is a failure (-1).
    template <typename T>
    static int readOptional(CJsonNode& node, const std::string& key, T& value)
    {
        return readValue(node, key, value) == E_READ_INVALID ? -1 : 0;
    }

    // An optional object of the root: E_READ_MISSING, with nothing logged,
    // when absent (as in a root that is no object); E_READ_INVALID after
    // "When get object by key, the value type is invalid. key:" when the
    // value is no object, logged from the caller's own file and line.
    static int readObject(CJsonNode& root, const std::string& key, CJsonNode& object,
                          const char* file = __builtin_FILE(), int line = __builtin_LINE());

    static void logMissing(const std::string& key);
    static void logInvalid(const std::string& key);
    static void logNotObject();
};

#endif
