#include "convolution/convolution_engine.h"

#include "host/host_functions.h"

namespace tonvale {

namespace {

/// The smallest power of two that holds twice `length`, or the first one at or above twice minus
/// `limit`, where that is -16 or lower.
int32_t chooseFftSize(int32_t length, int32_t limit) {
    const int64_t largest = limit <= -16 ? -2 * int64_t{limit} : largestTransform;
    int64_t size = smallestTransform;
    while (size < 2 * int64_t{length} && size < largest && size < largestTransform)
        size *= 2;
    return static_cast<int32_t>(size);
}

} // namespace

int32_t ConvolutionEngine::setImpulse(const ImpulseBuffer &impulse, int32_t wantedFftSize,
                                      int32_t impulseOffset, int32_t maxImpulseLength,
                                      bool forceDirect, int32_t channels) {
    const int32_t length = StreamConvolver::usableLength(impulse, impulseOffset, maxImpulseLength);
    if (forceDirect) {
        fftSize = 0;
        convolver.reset();
    } else {
        fftSize = wantedFftSize > 0 ? wantedFftSize : chooseFftSize(length, wantedFftSize);
    }
    convolver.load(impulse, impulseOffset, maxImpulseLength,
                   forceDirect ? directSchedule(length) : uniformSchedule(length, fftSize / 2),
                   channels);
    return latencySamples();
}

int32_t ConvolutionEngine::samplesAvailable(int32_t wanted) {
    if (convolver.channelCount() < 1)
        return fftSize > 0 ? wanted : 0;
    return convolver.play();
}

} // namespace tonvale
