#include "common/core/JsonNode.h"

CJsonNode::CJsonNode() : m_bNeedDestroyResource(false), m_pJsonValue(nullptr) {}

CJsonNode::~CJsonNode()
{
    setJsonValue(nullptr, false);
}

void CJsonNode::setJsonValue(Json::Value* value, bool needDestroy)
{
    if (m_bNeedDestroyResource && m_pJsonValue != nullptr && m_pJsonValue != value) {
        delete m_pJsonValue;
    }
    m_pJsonValue = value;
    m_bNeedDestroyResource = needDestroy;
}

bool CJsonNode::isBool() const
{
    return m_pJsonValue != nullptr && m_pJsonValue->isBool();
}

bool CJsonNode::isInt() const
{
    return m_pJsonValue != nullptr &&
           (m_pJsonValue->isInt() || m_pJsonValue->isInt64() || m_pJsonValue->isUInt() || m_pJsonValue->isUInt64());
}

bool CJsonNode::isDouble() const
{
    return m_pJsonValue != nullptr && m_pJsonValue->isDouble();
}

bool CJsonNode::isString() const
{
    return m_pJsonValue != nullptr && m_pJsonValue->isString();
}

bool CJsonNode::isObject() const
{
    return m_pJsonValue != nullptr && m_pJsonValue->isObject();
}

bool CJsonNode::isArray() const
{
    return m_pJsonValue != nullptr && m_pJsonValue->isArray();
}

bool CJsonNode::isKeyExist(const std::string& key) const
{
    return isObject() && m_pJsonValue->isMember(key);
}

// jsoncpp throws when a conversion leaves the target's range (a negative
// number as unsigned, a number past 2^63 - 1 as signed); these read the
// stored integer from the side that fits and wrap it to the other instead.
int64_t CJsonNode::asWrappedInt64() const
{
    return m_pJsonValue->isInt64() ? m_pJsonValue->asInt64() : static_cast<int64_t>(m_pJsonValue->asUInt64());
}

uint64_t CJsonNode::asWrappedUInt64() const
{
    return m_pJsonValue->isUInt64() ? m_pJsonValue->asUInt64() : static_cast<uint64_t>(m_pJsonValue->asInt64());
}

bool CJsonNode::getValue(bool& value) const
{
    if (!isBool()) {
        return false;
    }
    value = m_pJsonValue->asBool();
    return true;
}

bool CJsonNode::getValue(int& value) const
{
    if (!isInt()) {
        return false;
    }
    value = static_cast<int>(asWrappedInt64());
    return true;
}

bool CJsonNode::getValue(unsigned int& value) const
{
    if (!isInt()) {
        return false;
    }
    value = static_cast<unsigned int>(asWrappedUInt64());
    return true;
}

bool CJsonNode::getValue(long long& value) const
{
    if (!isInt()) {
        return false;
    }
    value = asWrappedInt64();
    return true;
}

bool CJsonNode::getValue(unsigned long long& value) const
{
    if (!isInt()) {
        return false;
    }
    value = asWrappedUInt64();
    return true;
}

bool CJsonNode::getValue(float& value) const
{
    if (!isDouble()) {
        return false;
    }
    value = static_cast<float>(m_pJsonValue->asDouble());
    return true;
}

bool CJsonNode::getValue(double& value) const
{
    if (!isDouble()) {
        return false;
    }
    value = m_pJsonValue->asDouble();
    return true;
}

bool CJsonNode::getValue(std::string& value) const
{
    if (!isString()) {
        return false;
    }
    value = m_pJsonValue->asString();
    return true;
}

bool CJsonNode::setValue(const std::string& key, Json::Value& value)
{
    if (!isObject()) {
        return false;
    }
    (*m_pJsonValue)[key] = value;
    return true;
}

bool CJsonNode::setValue(Json::Value& value)
{
    if (!isArray()) {
        return false;
    }
    m_pJsonValue->append(value);
    return true;
}

int CJsonNode::size() const
{
    return isArray() ? static_cast<int>(m_pJsonValue->size()) : 0;
}

bool CJsonNode::getChildNode(const std::string& key, CJsonNode& child)
{
    if (!isKeyExist(key)) {
        return false;
    }
    child.setJsonValue(&(*m_pJsonValue)[key], false);
    return true;
}

bool CJsonNode::getChildNode(int index, CJsonNode& child)
{
    if (index < 0 || !isArray() || index > size()) {
        return false;
    }
    child.setJsonValue(&(*m_pJsonValue)[static_cast<Json::ArrayIndex>(index)], false);
    return true;
}

bool CJsonNode::getJsonString(std::string& out) const
{
    if (m_pJsonValue == nullptr) {
        return false;
    }
    out = m_pJsonValue->toStyledString();
    return true;
}
