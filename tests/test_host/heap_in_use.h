#pragma once

#include <cstddef>
#include <malloc.h>

#ifdef _WIN32
#include <windows.h>
#endif

namespace tonvale::test {

/// Bytes that this process has allocated.
inline size_t heapInUse() {
#ifdef _WIN32
    const auto heap = reinterpret_cast<HANDLE>(_get_heap_handle());
    size_t bytes = 0;
    PROCESS_HEAP_ENTRY block{};
    HeapLock(heap);
    while (HeapWalk(heap, &block)) {
        if (block.wFlags & PROCESS_HEAP_ENTRY_BUSY)
            bytes += block.cbData;
    }
    HeapUnlock(heap);
    return bytes;
#else
    return mallinfo2().uordblks + mallinfo2().hblkhd;
#endif
}

} // namespace tonvale::test
