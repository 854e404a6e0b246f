#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace tonvale {

/// The one road by which containers get memory. A gate lets a test refuse requests, and the tests'
/// `operator new` asks it too; the product has none. Process-wide, any thread.
using AllocationGate = bool (*)(size_t bytes);

/// `gate` answers whether a request of so many bytes may go on; null lets all pass.
void setAllocationGate(AllocationGate gate);
bool mayAllocate(size_t bytes);

/// Null when memory is out. The memory is aligned for every ordinary type.
void *allocateRaw(size_t bytes);
/// As realloc: on null the old block stays as it is. `block` may be null.
void *reallocateRaw(void *block, size_t bytes);
void freeRaw(void *block);

/// How many requests of this thread came back empty so far. Who must know whether a step of many
/// quiet requests got all of its memory compares what this tells before and behind it.
int32_t lostRequests();
void noteLostRequest();

/// A new object, or null when memory is out, also for what its constructor needs.
template <class T, class... Arguments>
std::unique_ptr<T> tryMake(Arguments &&...arguments) {
    try {
        if (mayAllocate(sizeof(T)))
            return std::make_unique<T>(static_cast<Arguments &&>(arguments)...);
    } catch (const std::bad_alloc &) {
    }
    noteLostRequest();
    return nullptr;
}

} // namespace tonvale
