#include "convolution/containers/raw_memory.h"

#include <atomic>
#include <cstdlib>

namespace tonvale {

namespace {

/// Process-wide; set by tests alone, read by every thread that allocates.
std::atomic<AllocationGate> allocationGate{nullptr};

} // namespace

void setAllocationGate(AllocationGate gate) {
    allocationGate.store(gate, std::memory_order_relaxed);
}

bool mayAllocate(size_t bytes) {
    const AllocationGate gate = allocationGate.load(std::memory_order_relaxed);
    return !gate || gate(bytes);
}

void *allocateRaw(size_t bytes) {
    return mayAllocate(bytes) ? std::malloc(bytes) : nullptr;
}

void *reallocateRaw(void *block, size_t bytes) {
    return mayAllocate(bytes) ? std::realloc(block, bytes) : nullptr;
}

void freeRaw(void *block) {
    std::free(block);
}

} // namespace tonvale
