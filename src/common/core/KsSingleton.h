#ifndef LUMBRIX_KS_SINGLETON_H
#define LUMBRIX_KS_SINGLETON_H

#include <atomic>
#include <mutex>
#include <new>

// The lazily created process singleton that the managers, drivers, logger
// and registries share. A class T derives from CKsSingleton<T, Mutex> and
// befriends it (its constructor and destructor stay private):
//
//   class CIpcFramework : public CKsSingleton<CIpcFramework> {
//       friend class CKsSingleton<CIpcFramework>;
//       CIpcFramework() = default;
//       ...
//   };
//
// getInstance() creates the instance on first use under ms_mutexInstance
// (checked once without the lock and again with it); every later call is
// one acquire load, which also makes the fully built instance visible to
// the thread that reads it; the creation is a call of its own, out of the
// way of the many calls that only load. destroy() deletes the instance
// under the lock; a caller must not use it afterwards. Creation failure
// (out of memory) yields null. ms_pInstance and ms_mutexInstance are
// constant-initialised, so a registration that runs before main may create
// the instance.
template <typename T, typename Mutex = std::mutex>
class CKsSingleton {
public:
    static T* getInstance()
    {
        T* instance = ms_pInstance.load(std::memory_order_acquire);
        return instance != nullptr ? instance : create();
    }

    static void destroy()
    {
        std::lock_guard<Mutex> lock(ms_mutexInstance);
        delete ms_pInstance.exchange(nullptr, std::memory_order_acq_rel);
    }

protected:
    CKsSingleton() = default;
    ~CKsSingleton() = default;
    CKsSingleton(const CKsSingleton&) = delete;
    CKsSingleton& operator=(const CKsSingleton&) = delete;

    static std::atomic<T*> ms_pInstance;
    static Mutex ms_mutexInstance;

private:
    __attribute__((noinline, cold)) static T* create()
    {
        std::lock_guard<Mutex> lock(ms_mutexInstance);
        T* instance = ms_pInstance.load(std::memory_order_relaxed);
        if (instance == nullptr) {
            instance = new (std::nothrow) T();
            ms_pInstance.store(instance, std::memory_order_release);
        }
        return instance;
    }
};

template <typename T, typename Mutex>
std::atomic<T*> CKsSingleton<T, Mutex>::ms_pInstance{nullptr};

template <typename T, typename Mutex>
Mutex CKsSingleton<T, Mutex>::ms_mutexInstance;

#endif
