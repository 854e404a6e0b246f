#pragma once

#include "convolution/containers/relaxed.h"
#include "core/main_engine.h"
#include "core/parameters.h"

namespace tonvale {

/// What a rebuild asks for, out of the parameters.
struct EngineWishes {
    bool zeroLatency;
    bool useTail;     ///< LL is on, and the response is longer than twice the split
    int32_t fftLimit; ///< 1 to 16384 samples
    int32_t split;    ///< where the tail begins, with one: fftLimit held between 512 and 8192
    int32_t channels; ///< that are to come; others serve too, at a little more cost
};
EngineWishes engineWishes(const Relaxed<double> (&params)[paramCount], int32_t responseLength,
                          int32_t channels);

/// Engines that hold a response, on their way into an audio path, or out of it.
struct EngineSet {
    MainEngine main;
    std::unique_ptr<ConvolutionEngineDiv> tailEngine; ///< from tailSplit on, null for no tail
    int32_t tailSplit = 0;                            ///< samples that stay with `main`
};

/// Loads `impulse` into new engines. Where memory fails the tail engine, the main one takes the
/// whole response; where it fails that, `main` is empty. Reads no plug-in; any thread.
EngineSet buildEngines(const ImpulseBuffer &impulse, const EngineWishes &wishes);

} // namespace tonvale
