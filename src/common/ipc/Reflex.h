#ifndef LUMBRIX_REFLEX_H
#define LUMBRIX_REFLEX_H

#include <list>
#include <map>
#include <string>

// Creator registered for one concrete class: allocates an instance with new.
typedef void* (*FuncCreator)();

// Registry of creators for the classes derived from T. Each concrete class
// registers under a dotted key before main runs (through a static
// CReflexRegister member); owners then ask for every class whose key begins
// with a prefix. The registry is created on first use and never destroyed.
template <typename T>
class CReflex {
public:
    static void registerCreator(const char* key, FuncCreator creator)
    {
        if (key == nullptr) {
            return;
        }
        instance()->m_mapCreator[key] = creator;
    }

    // Appends one new object per key that begins with prefix, in key order.
    // The caller owns the objects.
    static void create(const std::string& prefix, std::list<T*>& out)
    {
        for (const auto& entry : instance()->m_mapCreator) {
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
        auto it = instance()->m_mapCreator.find(key);
        return it == instance()->m_mapCreator.end() ? nullptr : it->second;
    }

private:
    static CReflex* instance()
    {
        if (ms_pInstance == nullptr) {
            ms_pInstance = new CReflex();
        }
        return ms_pInstance;
    }

    std::map<std::string, FuncCreator> m_mapCreator;
    static CReflex* ms_pInstance;
};

template <typename T>
CReflex<T>* CReflex<T>::ms_pInstance = nullptr;

// Performs one registration when constructed; each registering class holds
// one as its static member ms_reflexRegister.
template <typename T>
class CReflexRegister {
public:
    CReflexRegister(const char* key, FuncCreator creator)
    {
        CReflex<T>::registerCreator(key, creator);
    }
};

#endif
