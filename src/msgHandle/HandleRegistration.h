#ifndef LUMBRIX_HANDLE_REGISTRATION_H
#define LUMBRIX_HANDLE_REGISTRATION_H

#include <cstdint>

#include "common/core/KsLog.h"
#include "common/ipc/Reflex.h"

// What every self-registering message handler has, in both directions; Base
// is the direction's handler base (it holds m_ulMsgType). In the class:
// LUMBRIX_REGISTERED_HANDLE(Class, Base) declares the constructor, the
// factory creator, init(), release() and the static registration. In the
// .cpp: LUMBRIX_REGISTERED_HANDLE_IMPL(Class, Base, key, msgType, initText)
// defines them: the constructor sets m_ulMsgType, init() logs initText and
// the id from the handler's own file, release() does nothing, and the
// registration puts the creator in the factory under key.
#define LUMBRIX_REGISTERED_HANDLE(Class, Base)                                                                         \
public:                                                                                                                \
    Class();                                                                                                           \
    static void* create();                                                                                             \
    int32_t init() override;                                                                                           \
    int32_t release() override;                                                                                        \
                                                                                                                       \
private:                                                                                                               \
    static CReflexRegister<Base> ms_reflexRegister;

#define LUMBRIX_REGISTERED_HANDLE_IMPL(Class, Base, key, msgType, initText)                                            \
    CReflexRegister<Base> Class::ms_reflexRegister(key, &Class::create);                                               \
    Class::Class()                                                                                                     \
    {                                                                                                                  \
        m_ulMsgType = static_cast<uint32_t>(msgType);                                                                  \
    }                                                                                                                  \
    void* Class::create()                                                                                              \
    {                                                                                                                  \
        return static_cast<Base*>(new Class());                                                                        \
    }                                                                                                                  \
    int32_t Class::init()                                                                                              \
    {                                                                                                                  \
        KS_LOG_INFO(initText << m_ulMsgType);                                                                          \
        return 0;                                                                                                      \
    }                                                                                                                  \
    int32_t Class::release()                                                                                           \
    {                                                                                                                  \
        return 0;                                                                                                      \
    }

#endif
