#pragma once

#include "test_host/allocation_limit.h"

#include <functional>

namespace tonvale::test {

/// Calls `round` with request 0 refused, then request 1, and so on until a round met no refusal;
/// then again with request n and all behind it refused. A round puts an AllocationLimit of what it
/// is given round what it tries, makes what that needs before, and judges behind. The test fails
/// where nothing is ever refused, or where `most` rounds of either form are not enough.
void forEachRefusedRequest(int most, const std::function<void(const Refusal &)> &round);

} // namespace tonvale::test
