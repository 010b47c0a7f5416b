#ifndef LUMBRIX_KS_ID_NAME_MAP_H
#define LUMBRIX_KS_ID_NAME_MAP_H

#include <cstdint>
#include <map>
#include <string>

// Two-way map between integer ids and names. A static table of pairs ends
// with a pair whose name is null; that terminator's id is the default id.
class CKsIDNameMap {
public:
    struct TIDNamePair {
        const char* m_pszName;
        int32_t m_iID;
    };

    CKsIDNameMap();
    explicit CKsIDNameMap(const TIDNamePair* table);

    void addIDNamePair(int id, const char* name);
    std::string name(int id) const;
    int id(const std::string& name) const;

private:
    std::map<std::string, int32_t> m_mapNameToID;
    std::map<int32_t, std::string> m_mapIDToName;
    std::string m_strDefaultName;
    int32_t m_iDefaultID;
};

#endif
