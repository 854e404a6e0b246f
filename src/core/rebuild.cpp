#include "core/reverb_plugin.h"

#include "convolution/containers/bounded_integer.h"
#include "convolution/containers/raw_memory.h"

#include <algorithm>

// From the chain of stages to running engines.

namespace tonvale {

namespace {

constexpr int32_t largestFftLimit = 16384;
constexpr int32_t smallestSplit = 512;
constexpr int32_t largestSplit = 8192;
/// A response shorter than this costs less as taps than as spectra, and has no latency so.
constexpr int32_t shortResponse = 64;

} // namespace

void ReverbPlugin::runChain() {
    CriticalScope chainScope(chainLock);
    impulse.setNumChannels(1, true);
    impulse.setLength(0);
    impulse.sampleRate = sampleRate;
    for (int32_t i = 0; i < stages.getSize(); ++i) {
        if (!stages.get(i)->bypassed)
            stages.get(i)->process(impulse);
    }
    impulseLength = impulse.getLength();
    impulseChannels = impulse.getNumChannels();
}

void ReverbPlugin::rebuildImpulse() {
    rebuildPending = 0;
    CriticalScope rebuildScope(rebuildLock);
    runChain();

    // The settings, and the engines that they ask for.
    const bool zeroLatency = paramToPlain(paramZeroLatency, params[paramZeroLatency]) > 0.5;
    const bool lowLatency = paramToPlain(paramLowLatency, params[paramLowLatency]) > 0.5;
    const int32_t fftLimit =
        boundedInteger(paramToPlain(paramMaxFft, params[paramMaxFft]) + 0.5, 1, largestFftLimit);
    const int32_t split = std::clamp(fftLimit, smallestSplit, largestSplit);
    const int32_t length = impulse.getLength();
    const bool useTail = lowLatency && length > 2 * split;

    std::unique_ptr<ConvolutionEngineDiv> newZl;
    std::unique_ptr<ConvolutionEngine> newUniform;
    if (zeroLatency)
        newZl = tryMake<ConvolutionEngineDiv>();
    else
        newUniform = tryMake<ConvolutionEngine>();

    // The late part, for the worker.
    std::unique_ptr<ConvolutionEngineDiv> newTail;
    if (useTail) {
        newTail = tryMake<ConvolutionEngineDiv>();
        // The worker runs in blocks as long as the engine's latency, so without one it can't run.
        if (!newTail || newTail->setImpulse(impulse, 0, 0, 0, split, split / 2) < 1 ||
            !startWorker())
            newTail.reset();
    }
    const int32_t newSplit = newTail ? split : 0;

    // The early part, or all of it.
    int32_t newLatency = 0;
    if (newZl)
        newLatency = newZl->setImpulse(impulse, -fftLimit, 0, newSplit, 0, 0);
    if (newUniform) {
        const int32_t held = newSplit > 0 ? std::min(newSplit, length) : length;
        newLatency = newUniform->setImpulse(impulse, -fftLimit, 0, newSplit, held < shortResponse);
    }

    // As much under way as in the engine that it replaces. This also gets the memory that a stream
    // of so many channels needs.
    const int32_t channels = loadRelaxed(effect.numInputs);
    int32_t primed = 0;
    {
        CriticalScope audioScope(audioLock);
        primed = wetPreroll;
    }
    const auto prime = [channels](auto &engine, int32_t samples) {
        if (engine)
            engine->addSamples(nullptr, samples, channels);
    };
    prime(newZl, primed);
    prime(newUniform, primed);
    prime(newTail, 0);

    // The exchange: the only moment that waits for audio and worker. What the new pointers end up
    // holding is freed behind the locks, in their order.
    {
        CriticalScope audioScope(audioLock);
        CriticalScope workerScope(workerLock);
        std::swap(uniformEngine, newUniform);
        std::swap(zlEngine, newZl);
        std::swap(tailEngine, newTail);
        tailSplit = newSplit;
        const int32_t oldDelay = effect.initialDelay;
        engineLatency = std::max(engineLatency, newLatency);
        setReportedLatency(std::max(engineLatency + preverbSamples, oldDelay));
        if (primed != wetPreroll) {
            // Audio began or was reset since.
            onMainEngine([](auto &engine) { engine.resetState(); });
            prime(uniformEngine, wetPreroll);
            prime(zlEngine, wetPreroll);
        }
        // The next wet sample is wetPreroll samples old, the next one of the tail as old as all
        // that is queued.
        if (tailEngine) {
            tailSkew = newSplit + wetPreroll - tailInput[0].samplesAvailable() -
                       tailOutput[0].samplesAvailable();
        }
    }
    newUniform.reset();
    newZl.reset();
    newTail.reset();

    if (!useTail) {
        stopWorker();
        clearTailQueues();
    }
    editor.displayDirty = 1;
}

void ReverbPlugin::clearTailQueues() {
    for (FifoBuffer &queue : tailInput)
        queue.clear();
    for (FifoBuffer &queue : tailOutput)
        queue.clear();
}

} // namespace tonvale
