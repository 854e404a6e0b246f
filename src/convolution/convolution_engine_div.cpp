#include "convolution/convolution_engine_div.h"

#include "host/host_functions.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace tonvale {

namespace {

constexpr int32_t firstTransform = 64;

/// The longest transform under a limit of half a length, by magnitude: it need be no power of two.
int32_t transformWithin(int32_t maxFftSize) {
    const int64_t doubled = 2 * std::abs(int64_t{maxFftSize});
    if (doubled == 0 || doubled > largestTransform)
        return largestTransform;
    return std::max(static_cast<int32_t>(std::bit_floor(static_cast<uint64_t>(doubled))),
                    smallestTransform);
}

} // namespace

int32_t ConvolutionEngineDiv::setImpulse(const ImpulseBuffer &impulse, int32_t maxFftSize,
                                         int32_t knownBlockSize, int32_t maxImpulseLength,
                                         int32_t impulseOffset, int32_t latencyAllowed,
                                         int32_t channels) {
    int32_t first = firstTransform;
    if (knownBlockSize > 128 && std::has_single_bit(static_cast<uint32_t>(knownBlockSize)))
        first = knownBlockSize / 2;
    latencyAllowed = std::clamp(latencyAllowed, 0, largestTransform);
    if (first < 2 * latencyAllowed) {
        const auto above = static_cast<uint32_t>(latencyAllowed) + 1;
        first = std::min(static_cast<int32_t>(std::bit_ceil(above)), largestTransform);
    }
    const int32_t largest = transformWithin(maxFftSize);
    latency = latencyAllowed > 0 ? std::min(first, largest) / 2 : 0;

    const int32_t length = StreamConvolver::usableLength(impulse, impulseOffset, maxImpulseLength);
    convolver.dropQueued();
    convolver.load(impulse, impulseOffset, maxImpulseLength,
                   growingSchedule(length, first, largest / 2, latency), channels);
    return latency;
}

int32_t ConvolutionEngineDiv::samplesAvailable(int32_t wanted) {
    return std::clamp(convolver.play(), 0, std::max(wanted, 0));
}

} // namespace tonvale
