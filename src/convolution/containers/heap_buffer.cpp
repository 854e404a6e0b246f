#include "convolution/containers/heap_buffer.h"

#include "convolution/containers/raw_memory.h"

#include <algorithm>
#include <cstring>

namespace tonvale {

namespace {

// An allocation of a whole number of pages, less what an allocator keeps in front of it.
constexpr int64_t pageSize = 4096;
constexpr int64_t allocatorShare = 96;
constexpr int64_t maxSlack = 0x400000;

constexpr int64_t wholePages(int64_t bytes) {
    return bytes & ~(pageSize - 1);
}

} // namespace

HeapBuffer::HeapBuffer(int32_t growthGranularity)
    : granularity(growthGranularity) {}

HeapBuffer::~HeapBuffer() {
    freeRaw(data);
}

void *HeapBuffer::resize(int32_t newSize, bool allowShrink) {
    newSize = std::max(newSize, 0);
    if (newSize == size)
        return get();

    // Within these bounds the block is neither moved nor shrunk.
    int32_t lower = 0;
    if (allowShrink && newSize < size)
        lower = std::max(std::min(capacity / 2, capacity - 4 * granularity), 1);
    if (newSize >= lower && newSize <= capacity) {
        size = newSize;
        return get();
    }

    const int32_t newCapacity = capacityFor(newSize);
    if (newCapacity == capacity) {
        size = newSize;
    } else if (newCapacity < 1) {
        freeRaw(data);
        data = nullptr;
        capacity = 0;
        size = 0;
    } else if (reallocate(newCapacity, newSize)) {
        capacity = newCapacity;
        size = newSize;
    }
    return get();
}

int32_t HeapBuffer::capacityFor(int32_t newSize) const {
    if (newSize < 1)
        return 0;
    int64_t wanted = std::max<int64_t>(newSize / 2, granularity);
    if (granularity >= pageSize) {
        const int64_t slack = std::clamp(wholePages(wanted), pageSize, maxSlack);
        wanted = wholePages(slack + newSize + allocatorShare) - allocatorShare;
    } else {
        wanted += newSize;
    }
    constexpr int64_t largest = std::numeric_limits<int32_t>::max();
    constexpr int64_t largestPages = wholePages(largest + 1) - allocatorShare;
    if (wanted > largest)
        wanted = newSize > largestPages ? largest : largestPages;
    return static_cast<int32_t>(wanted);
}

bool HeapBuffer::reallocate(int32_t newCapacity, int32_t newSize) {
    void *moved = reallocateRaw(data, static_cast<size_t>(newCapacity));
    if (!moved) {
        moved = allocateRaw(static_cast<size_t>(newCapacity));
        if (!moved)
            return false;
        if (data)
            std::memcpy(moved, data, static_cast<size_t>(std::min(size, newSize)));
        freeRaw(data);
    }
    data = moved;
    return true;
}

} // namespace tonvale
