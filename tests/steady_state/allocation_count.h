#pragma once

namespace tonvale::test {

/// While it lives, what this thread allocates is counted, in all modules of the process, where
/// the system lets a program put its own malloc in front.
struct AllocationsCounted {
    AllocationsCounted();
    ~AllocationsCounted();
};
void resetAllocationCount();
int countedAllocations();
/// Counts one that goes another way.
void noteAllocation();

} // namespace tonvale::test
