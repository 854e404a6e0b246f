#include "test_host/allocation_limit.h"

#include "convolution/containers/raw_memory.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <gtest/gtest.h>
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

void sweep(int most, const std::function<void(const Refusal &)> &round, bool andAllBehind) {
    for (int request = 0; request < most; ++request) {
        SCOPED_TRACE(testing::Message() << "refused: request " << request
                                        << (andAllBehind ? " and all behind it" : " alone"));
        const int before = refusals;
        round({.from = request, .until = andAllBehind ? INT64_MAX : request + 1});
        if (refusals > before)
            continue;
        EXPECT_GT(request, 0) << "nothing was asked for";
        return;
    }
    ADD_FAILURE() << most << " rounds were not enough";
}

} // namespace

AllocationLimit::AllocationLimit(const Refusal &refusal)
    : before(refusals) {
    refusedFrom = refusal.from;
    refusedUntil = refusal.until;
    refusedAbove = refusal.above;
    requests = 0;
    setAllocationGate(limitedAllocation);
}

AllocationLimit::~AllocationLimit() {
    setAllocationGate(nullptr);
}

int AllocationLimit::refused() const {
    return refusals - before;
}

HostSide::HostSide(bool isHost)
    : before(isHostSide) {
    isHostSide = isHost;
}

HostSide::~HostSide() {
    isHostSide = before;
}

void forEachRefusedRequest(int most, const std::function<void(const Refusal &)> &round) {
    sweep(most, round, false);
    sweep(most, round, true);
}

} // namespace tonvale::test

// The program's own `operator new` asks the gate as the containers do. All stand on malloc and
// free, so that what a library takes with one form and gives back with another goes through.

namespace {

void *request(size_t bytes) noexcept {
    return tonvale::mayAllocate(bytes) ? std::malloc(std::max<size_t>(bytes, 1)) : nullptr;
}

void *request(size_t bytes, std::align_val_t alignment) noexcept {
    const auto step = static_cast<size_t>(alignment);
    bytes = (std::max<size_t>(bytes, 1) + step - 1) / step * step;
    if (!tonvale::mayAllocate(bytes))
        return nullptr;
#ifdef _WIN32
    return _aligned_malloc(bytes, step);
#else
    return std::aligned_alloc(step, bytes);
#endif
}

void release(void *block) noexcept {
    std::free(block);
}

void release(void *block, std::align_val_t) noexcept {
#ifdef _WIN32
    _aligned_free(block);
#else
    std::free(block);
#endif
}

template <class... Alignment>
void *demand(size_t bytes, Alignment... alignment) {
    if (void *block = request(bytes, alignment...))
        return block;
    throw std::bad_alloc();
}

} // namespace

using Align = std::align_val_t;
using Nothrow = const std::nothrow_t &;

// clang-format off
void *operator new(size_t bytes) { return demand(bytes); }
void *operator new[](size_t bytes) { return demand(bytes); }
void *operator new(size_t bytes, Align to) { return demand(bytes, to); }
void *operator new[](size_t bytes, Align to) { return demand(bytes, to); }
void *operator new(size_t bytes, Nothrow) noexcept { return request(bytes); }
void *operator new[](size_t bytes, Nothrow) noexcept { return request(bytes); }
void *operator new(size_t bytes, Align to, Nothrow) noexcept { return request(bytes, to); }
void *operator new[](size_t bytes, Align to, Nothrow) noexcept { return request(bytes, to); }
void operator delete(void *block) noexcept { release(block); }
void operator delete[](void *block) noexcept { release(block); }
void operator delete(void *block, size_t) noexcept { release(block); }
void operator delete[](void *block, size_t) noexcept { release(block); }
void operator delete(void *block, Align to) noexcept { release(block, to); }
void operator delete[](void *block, Align to) noexcept { release(block, to); }
void operator delete(void *block, size_t, Align to) noexcept { release(block, to); }
void operator delete[](void *block, size_t, Align to) noexcept { release(block, to); }
void operator delete(void *block, Nothrow) noexcept { release(block); }
void operator delete[](void *block, Nothrow) noexcept { release(block); }
void operator delete(void *block, Align to, Nothrow) noexcept { release(block, to); }
void operator delete[](void *block, Align to, Nothrow) noexcept { release(block, to); }
// clang-format on
