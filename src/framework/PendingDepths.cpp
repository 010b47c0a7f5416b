#include "framework/PendingDepths.h"

std::atomic<bool> CPendingDepths::ms_bEnabled{false};
CPendingDepths::TSlot CPendingDepths::ms_astSlot[CPendingDepths::SLOTS];

void CPendingDepths::store(uint32_t msgType, size_t depth)
{
    for (TSlot& slot : ms_astSlot) {
        const uint32_t key = slot.key.load(std::memory_order_relaxed);
        if (key == msgType || key == 0) {
            slot.depth.store(static_cast<uint32_t>(depth), std::memory_order_relaxed);
            if (key == 0) {
                slot.key.store(msgType, std::memory_order_release);
            }
            return;
        }
    }
}
