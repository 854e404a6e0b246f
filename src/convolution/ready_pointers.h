#pragma once

#include <cstdint>

namespace tonvale {

/// Fills `out`, one place a channel: where the oldest ready samples of an engine's channel lie, or
/// null where memory left it with fewer than `wanted`. Good until the next call on the engine.
template <class Engine>
void readyPointers(Engine &engine, double **out, int32_t wanted, int32_t channels) {
    double *const *pointers = engine.outputPointers();
    for (int32_t c = 0; c < channels; ++c)
        out[c] = pointers && engine.samplesReady(c) >= wanted ? pointers[c] : nullptr;
}

} // namespace tonvale
