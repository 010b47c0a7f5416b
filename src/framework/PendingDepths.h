#ifndef LUMBRIX_PENDING_DEPTHS_H
#define LUMBRIX_PENDING_DEPTHS_H

#include <atomic>
#include <cstddef>
#include <cstdint>

// The depth of every pending-request queue as the event-loop thread last
// left it, readable from the recorder thread at any time, also while the
// event-loop thread waits on a full queue. Published only once enable()
// has been called (the counters are on). A queue takes a slot when first
// published: its key is stored after its depth, with release order, so a
// reader that sees the key sees a depth.
class CPendingDepths {
public:
    static void enable() { ms_bEnabled.store(true, std::memory_order_relaxed); }

    // The queue of requests of msgType now holds depth sequences (a depth
    // of one more than a full queue: a push is waiting).
    static void publish(uint32_t msgType, size_t depth)
    {
        if (ms_bEnabled.load(std::memory_order_relaxed)) {
            store(msgType, depth);
        }
    }

    // Calls visit(msgType, depth) for every queue published so far, in the
    // order they were first published.
    template <typename Visit>
    static void forEach(Visit visit)
    {
        for (const TSlot& slot : ms_astSlot) {
            const uint32_t key = slot.key.load(std::memory_order_acquire);
            if (key == 0) {
                break;
            }
            visit(key, slot.depth.load(std::memory_order_relaxed));
        }
    }

private:
    struct TSlot {
        std::atomic<uint32_t> key{0}; // 0: free (no request type is 0)
        std::atomic<uint32_t> depth{0};
    };
    static constexpr size_t SLOTS = 64;

    static void store(uint32_t msgType, size_t depth);

    static std::atomic<bool> ms_bEnabled;
    static TSlot ms_astSlot[SLOTS];
};

#endif
