#include "common/core/KsIDNameMap.h"

CKsIDNameMap::CKsIDNameMap() : m_iDefaultID(-1) {}

CKsIDNameMap::CKsIDNameMap(const TIDNamePair* table) : m_iDefaultID(-1)
{
    if (table == nullptr) {
        return;
    }
    const TIDNamePair* pair = table;
    for (; pair->m_pszName != nullptr; ++pair) {
        addIDNamePair(pair->m_iID, pair->m_pszName);
    }
    m_iDefaultID = pair->m_iID;
}

void CKsIDNameMap::addIDNamePair(int id, const char* name)
{
    if (name == nullptr) {
        return;
    }
    m_mapIDToName[id] = name;
    m_mapNameToID[name] = id;
}

std::string CKsIDNameMap::name(int id) const
{
    auto it = m_mapIDToName.find(id);
    return it == m_mapIDToName.end() ? m_strDefaultName : it->second;
}

int CKsIDNameMap::id(const std::string& name) const
{
    auto it = m_mapNameToID.find(name);
    return it == m_mapNameToID.end() ? m_iDefaultID : it->second;
}
