#pragma once

#include <new>

namespace tonvale {

/// Runs `work`, which ends where memory runs out: what it did until then stays.
template <class Work>
void asMemoryAllows(Work work) noexcept {
    try {
        work();
    } catch (const std::bad_alloc &) {
        return;
    }
}

} // namespace tonvale
