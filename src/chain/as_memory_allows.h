#pragma once

#include "convolution/containers/raw_memory.h"

#include <exception>

namespace tonvale {

/// Runs `work`, which ends where memory runs out: what it did until then stays, and the loss counts
/// among lostRequests(). Nothing else that a host throws gets through either.
template <class Work>
void asMemoryAllows(Work work) noexcept {
    try {
        work();
    } catch (const std::exception &) {
        noteLostRequest();
    }
}

} // namespace tonvale
