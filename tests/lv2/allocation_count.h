#pragma once

namespace tonvale::test {

/// While it lives, what this thread allocates is counted, in all modules of the process; with
/// sanitizers, which have a heap of their own, nothing is.
struct AllocationsCounted {
    AllocationsCounted();
    ~AllocationsCounted();
};
void resetAllocationCount();
int countedAllocations();

} // namespace tonvale::test
