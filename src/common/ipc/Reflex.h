#ifndef LUMBRIX_REFLEX_H
#define LUMBRIX_REFLEX_H

#include <list>
#include <map>
#include <string>

#include "common/core/KsSingleton.h"

// Creator registered for one concrete class: allocates an instance with new.
typedef void* (*FuncCreator)();

// Registry of creators for the classes derived from T. Each concrete class
// registers under a dotted key before main runs (through a static
// CReflexRegister member); owners then ask for every class whose key begins
// with a prefix. The registry is created on first use (by the first
// registration, before main) and never destroyed.
template <typename T>
class CReflex : public CKsSingleton<CReflex<T>> {
    friend class CKsSingleton<CReflex<T>>;

public:
    static void registerCreator(const char* key, FuncCreator creator)
    {
        if (key == nullptr) {
            return;
        }
        CReflex::getInstance()->m_mapCreator[key] = creator;
    }

    // Appends one new object per key that begins with prefix, in key order.
    // The caller owns the objects.
    static void create(const std::string& prefix, std::list<T*>& out)
    {
        for (const auto& entry : CReflex::getInstance()->m_mapCreator) {
            const std::string key = entry.first;
            if (key.size() < prefix.size() || key.compare(0, prefix.size(), prefix) != 0) {
                continue;
            }
            if (entry.second == nullptr) {
                continue;
            }
            void* object = entry.second();
            if (object != nullptr) {
                out.push_back(static_cast<T*>(object));
            }
        }
    }

    // The creator registered under exactly key, or null.
    static FuncCreator findCreator(const std::string& key)
    {
        const std::map<std::string, FuncCreator>& creators = CReflex::getInstance()->m_mapCreator;
        auto it = creators.find(key);
        return it == creators.end() ? nullptr : it->second;
    }

private:
    CReflex() = default;

    std::map<std::string, FuncCreator> m_mapCreator;
};

// Performs one registration when constructed; each registering class holds
// one as its static member ms_reflexRegister.
template <typename T>
class CReflexRegister {
public:
    CReflexRegister(const char* key, FuncCreator creator) { CReflex<T>::registerCreator(key, creator); }
};

#endif
