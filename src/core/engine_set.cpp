#include "core/engine_set.h"

#include "convolution/containers/bounded_integer.h"
#include "convolution/containers/raw_memory.h"

#include <algorithm>

namespace tonvale {

namespace {

constexpr int32_t largestFftLimit = 16384;
constexpr int32_t smallestSplit = 512;
constexpr int32_t largestSplit = 8192;
/// A response shorter than this costs less as taps than as spectra, and has no latency so.
constexpr int32_t shortResponse = 64;

/// The late part, for a worker that runs in blocks as long as the engine's latency: an engine
/// without one can't be used so.
std::unique_ptr<ConvolutionEngineDiv> buildTail(const ImpulseBuffer &impulse,
                                                const EngineWishes &wishes) {
    const int32_t split = wishes.split;
    auto engine = tryMake<ConvolutionEngineDiv>();
    if (engine && engine->setImpulse(impulse, 0, 0, 0, split, split / 2, wishes.channels) < 1)
        engine.reset();
    return engine;
}

/// The early part, `held` samples, or all with 0.
MainEngine buildMain(const ImpulseBuffer &impulse, const EngineWishes &wishes, int32_t held) {
    MainEngine main;
    if (wishes.zeroLatency) {
        main.zlEngine = tryMake<ConvolutionEngineDiv>();
        if (main.zlEngine)
            main.zlEngine->setImpulse(impulse, -wishes.fftLimit, 0, held, 0, 0, wishes.channels);
        return main;
    }
    main.uniformEngine = tryMake<ConvolutionEngine>();
    if (main.uniformEngine) {
        const int32_t length = impulse.getLength();
        const int32_t taps = held > 0 ? std::min(held, length) : length;
        main.uniformEngine->setImpulse(impulse, -wishes.fftLimit, 0, held, taps < shortResponse,
                                       wishes.channels);
    }
    return main;
}

} // namespace

EngineWishes engineWishes(const Relaxed<double> (&params)[paramCount], int32_t responseLength,
                          int32_t channels) {
    const auto plain = [&params](int32_t index) { return paramToPlain(index, params[index]); };
    const int32_t fftLimit = boundedInteger(plain(paramMaxFft) + 0.5, 1, largestFftLimit);
    const int32_t split = std::clamp(fftLimit, smallestSplit, largestSplit);
    return {.zeroLatency = plain(paramZeroLatency) > 0.5,
            .useTail = plain(paramLowLatency) > 0.5 && responseLength > 2 * split,
            .fftLimit = fftLimit,
            .split = split,
            .channels = channels};
}

EngineSet buildEngines(const ImpulseBuffer &impulse, const EngineWishes &wishes) {
    EngineSet set;
    if (wishes.useTail)
        set.tailEngine = buildTail(impulse, wishes);
    if (set.tailEngine)
        set.tailSplit = wishes.split;
    set.main = buildMain(impulse, wishes, set.tailSplit);
    return set;
}

} // namespace tonvale
