#ifndef LUMBRIX_JSON_NODE_H
#define LUMBRIX_JSON_NODE_H

#include <json/json.h>

#include <cstdint>
#include <string>

// A handle on one value of a JSON document. A handle filled by CJsonParser
// owns the whole document and frees it when it goes; a handle filled by
// getChildNode only refers into its parent's document, owns nothing, and
// must not outlive the handle that owns the document. Every test and getter
// on an empty handle yields false and changes nothing; no getter throws.
class CJsonNode {
public:
    CJsonNode();
    ~CJsonNode();
    CJsonNode(const CJsonNode&) = delete;
    CJsonNode& operator=(const CJsonNode&) = delete;

    // Frees the value owned so far, then takes value with the given ownership.
    void setJsonValue(Json::Value* value, bool needDestroy);

    bool isBool() const;
    bool isInt() const;
    bool isDouble() const;
    bool isString() const;
    bool isObject() const;
    bool isArray() const;
    bool isKeyExist(const std::string& key) const;

    bool getValue(bool& value) const;
    bool getValue(int& value) const;
    bool getValue(unsigned int& value) const;
    bool getValue(long long& value) const;
    bool getValue(unsigned long long& value) const;
    bool getValue(float& value) const;
    bool getValue(double& value) const;
    bool getValue(std::string& value) const;

    // Object: sets member key to a copy of value. Array: appends a copy.
    bool setValue(const std::string& key, Json::Value& value);
    bool setValue(Json::Value& value);

    int size() const;

    // Points child (non-owning) at member key of an object.
    bool getChildNode(const std::string& key, CJsonNode& child);
    // Points child (non-owning) at element index of an array. An index equal
    // to the size is accepted: the array grows by one null element.
    bool getChildNode(int index, CJsonNode& child);

    bool getJsonString(std::string& out) const;

private:
    // Only for a value that passed isInt().
    int64_t asWrappedInt64() const;
    uint64_t asWrappedUInt64() const;

    bool m_bNeedDestroyResource;
    Json::Value* m_pJsonValue;
};

#endif
