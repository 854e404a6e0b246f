#include "convolution/containers/raw_memory.h"

#include <atomic>
#include <cstdlib>

namespace tonvale {

namespace {

/// Process-wide; set by tests alone, read by every thread that allocates.
std::atomic<AllocationGate> allocationGate{nullptr};

thread_local int32_t lostOnThisThread = 0;

} // namespace

void setAllocationGate(AllocationGate gate) {
    allocationGate.store(gate, std::memory_order_relaxed);
}

bool mayAllocate(size_t bytes) {
    const AllocationGate gate = allocationGate.load(std::memory_order_relaxed);
    return !gate || gate(bytes);
}

void *allocateRaw(size_t bytes) {
    void *block = mayAllocate(bytes) ? std::malloc(bytes) : nullptr;
    if (!block)
        noteLostRequest();
    return block;
}

void *reallocateRaw(void *block, size_t bytes) {
    // No loss yet: the block can still be moved by hand.
    return mayAllocate(bytes) ? std::realloc(block, bytes) : nullptr;
}

int32_t lostRequests() {
    return lostOnThisThread;
}

void noteLostRequest() {
    // Wraps round, as only differences count.
    lostOnThisThread = static_cast<int32_t>(static_cast<uint32_t>(lostOnThisThread) + 1);
}

void freeRaw(void *block) {
    std::free(block);
}

} // namespace tonvale
