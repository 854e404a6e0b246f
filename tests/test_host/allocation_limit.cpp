#include "test_host/allocation_limit.h"

#include "convolution/containers/raw_memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace tonvale::test {

namespace {

/// Of the limit that lives, or lived last. The plug-in's worker reads them too.
std::atomic<int64_t> refusedFrom, refusedUntil;
std::atomic<size_t> refusedAbove;
std::atomic<int64_t> requests;
std::atomic<int> refusals;

thread_local bool isHostSide = false;

bool limitedAllocation(size_t bytes) {
    if (isHostSide)
        return true;
    const int64_t request = requests++;
    if (bytes <= refusedAbove && (request < refusedFrom || request >= refusedUntil))
        return true;
    ++refusals;
    return false;
}

} // namespace

AllocationLimit::AllocationLimit(const Refusal &refusal) {
    refusedFrom = refusal.from;
    refusedUntil = refusal.until;
    refusedAbove = refusal.above;
    requests = 0;
    setAllocationGate(limitedAllocation);
}

AllocationLimit::~AllocationLimit() {
    setAllocationGate(nullptr);
}

int AllocationLimit::refusedByAll() {
    return refusals;
}

HostSide::HostSide(bool isHost)
    : before(isHostSide) {
    isHostSide = isHost;
}

HostSide::~HostSide() {
    isHostSide = before;
}

} // namespace tonvale::test

// The program's own `operator new` asks the gate as the containers do. malloc and free serve every
// form, so that any form of delete fits any form of new, and the sanitizers see both.

namespace {

void *request(size_t bytes, size_t alignment = 1) noexcept {
    if (!tonvale::mayAllocate(bytes))
        return nullptr;
    bytes = std::max<size_t>(bytes, 1);
    if (alignment <= alignof(std::max_align_t))
        return std::malloc(bytes);
    return std::aligned_alloc(alignment, (bytes + alignment - 1) / alignment * alignment);
}

void *demand(size_t bytes, size_t alignment = 1) {
    if (void *block = request(bytes, alignment))
        return block;
    throw std::bad_alloc();
}

} // namespace

using Alignment = std::align_val_t;

// clang-format off
void *operator new(size_t bytes) { return demand(bytes); }
void *operator new[](size_t bytes) { return demand(bytes); }
void *operator new(size_t bytes, Alignment to) { return demand(bytes, static_cast<size_t>(to)); }
void *operator new[](size_t bytes, Alignment to) { return demand(bytes, static_cast<size_t>(to)); }
void *operator new(size_t bytes, const std::nothrow_t &) noexcept { return request(bytes); }
void *operator new[](size_t bytes, const std::nothrow_t &) noexcept { return request(bytes); }
void *operator new(size_t bytes, Alignment to, const std::nothrow_t &) noexcept { return request(bytes, static_cast<size_t>(to)); }
void *operator new[](size_t bytes, Alignment to, const std::nothrow_t &) noexcept { return request(bytes, static_cast<size_t>(to)); }
void operator delete(void *block) noexcept { std::free(block); }
void operator delete[](void *block) noexcept { std::free(block); }
void operator delete(void *block, size_t) noexcept { std::free(block); }
void operator delete[](void *block, size_t) noexcept { std::free(block); }
void operator delete(void *block, Alignment) noexcept { std::free(block); }
void operator delete[](void *block, Alignment) noexcept { std::free(block); }
void operator delete(void *block, size_t, Alignment) noexcept { std::free(block); }
void operator delete[](void *block, size_t, Alignment) noexcept { std::free(block); }
void operator delete(void *block, const std::nothrow_t &) noexcept { std::free(block); }
void operator delete[](void *block, const std::nothrow_t &) noexcept { std::free(block); }
void operator delete(void *block, Alignment, const std::nothrow_t &) noexcept { std::free(block); }
void operator delete[](void *block, Alignment, const std::nothrow_t &) noexcept { std::free(block); }
// clang-format on
