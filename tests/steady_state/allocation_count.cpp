#include "steady_state/allocation_count.h"

#include <cstddef>

// With the GNU C library, this program's malloc stands before the library's for every module in the
// process; elsewhere, and with sanitizers, which have a heap of their own, it does not.

namespace {

thread_local bool counting = false;
thread_local int allocations = 0;

} // namespace

namespace tonvale::test {

void noteAllocation() {
    allocations += counting;
}

} // namespace tonvale::test

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void *__libc_memalign(size_t, size_t);

void *malloc(size_t size) {
    tonvale::test::noteAllocation();
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) {
    tonvale::test::noteAllocation();
    return __libc_calloc(count, size);
}

void *realloc(void *block, size_t size) {
    tonvale::test::noteAllocation();
    return __libc_realloc(block, size);
}

void *aligned_alloc(size_t alignment, size_t size) {
    tonvale::test::noteAllocation();
    return __libc_memalign(alignment, size);
}
}
#endif

namespace tonvale::test {

AllocationsCounted::AllocationsCounted() {
    counting = true;
}

AllocationsCounted::~AllocationsCounted() {
    counting = false;
}

void resetAllocationCount() {
    allocations = 0;
}

int countedAllocations() {
    return allocations;
}

} // namespace tonvale::test
