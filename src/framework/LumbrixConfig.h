#ifndef LUMBRIX_LUMBRIX_CONFIG_H
#define LUMBRIX_LUMBRIX_CONFIG_H

#include <list>
#include <string>

#include "framework/EntityInfo.h"

class CJsonNode;

// The gateway's configuration: the enabled service and client records of the
// "serviceEntity" and "clientEntity" arrays, in file order. Main control owns
// the one instance.
class CLumbrixConfig {
public:
    // path names a file, or is the JSON text itself. 0 loaded, -1 failed.
    int loadConfig(const std::string& path);

    std::list<CServiceEntityInfo>& getServiceEntityInfo() { return m_listServiceEntityInfo; }
    std::list<CClientEntityInfo>& getClientEntityInfo() { return m_listClientEntityInfo; }

private:
    // Checks root and array, then calls readEntry for each element; the
    // entry reader returns 1 to skip (disabled), 0 to keep, -1 to fail.
    template <typename Info>
    int loadArray(CJsonNode& root, const std::string& key, std::list<Info>& out, int (*readEntry)(CJsonNode&, Info&));

    std::list<CServiceEntityInfo> m_listServiceEntityInfo;
    std::list<CClientEntityInfo> m_listClientEntityInfo;
};

#endif
