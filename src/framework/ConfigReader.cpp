#include "framework/ConfigReader.h"

#include "common/core/JsonParser.h"
#include "common/core/KsLog.h"

int CConfigReader::load(const std::string& fileOrText, CJsonNode& root)
{
    CJsonParser parser;
    int ret = parser.loadFromFile(fileOrText, root);
    if (ret == -2) {
        ret = parser.loadFromStr(fileOrText, root);
    }
    if (ret != 0) {
        KS_LOG_ERROR("Fail to load json, json:" << fileOrText);
        return -1;
    }
    return 0;
}

int CConfigReader::readObject(CJsonNode& root, const std::string& key, CJsonNode& object, const char* file, int line)
{
    // Only an object has keys: a root of another kind has none.
    if (!root.isKeyExist(key)) {
        return E_READ_MISSING;
    }
    root.getChildNode(key, object);
    if (!object.isObject()) {
        KS_LOG_AT(E_LOG_LEVEL_ERROR, file, line, "When get object by key, the value type is invalid. key:" << key);
        return E_READ_INVALID;
    }
    return E_READ_OK;
}

void CConfigReader::logMissing(const std::string& key)
{
    KS_LOG_ERROR("When get value by key, the key is not exist. key:" << key);
}

void CConfigReader::logInvalid(const std::string& key)
{
    KS_LOG_ERROR("When get value by key, the value type is invalid. key:" << key);
}

void CConfigReader::logNotObject()
{
    KS_LOG_ERROR("When get value by key, json node is not object");
}
