#pragma once

#include "core/audio_path.h"
#include "core/editor_link.h"
#include "core/impulse_chain.h"
#include "core/parameters.h"
#include "host/aeffect.h"

namespace tonvale {

/// One instance of the plug-in. The host sees only `effect`, whose `user` leads back here.
///
/// Three kinds of thread meet: the host's main thread (dispatcher, editor, rebuilds), its audio
/// thread (processAudio, under audioLock for the whole block) and the instance's own worker thread,
/// which convolves the late part of a long response while there is one. Parameters come from any
/// thread. Fields that a thread reads without the lock that guards their changes are relaxed.
///
/// Locks are entered in the order rebuildLock, chainLock, a stage's lock; then, with chainLock
/// released, audioLock, workerLock, queueLock. A rebuild never starts on a thread that holds
/// audioLock.
struct ReverbPlugin {
    /// Throws bad_alloc where there is no memory for a first engine.
    ReverbPlugin();
    ~ReverbPlugin();
    ReverbPlugin(const ReverbPlugin &) = delete;
    ReverbPlugin &operator=(const ReverbPlugin &) = delete;

    /// One block: `frames` samples of each of effect.numInputs channels. A null input is silence;
    /// outputs may be the inputs. Allocates nothing once its buffers have their working size.
    void processAudio(const double *const *inputs, double *const *outputs, int32_t frames);
    /// Empties every signal path, and lets the reported latency go down to what is needed. Any
    /// thread.
    void resetAudioState();
    /// Makes the present gains and width those at the end of the last block, so that the next one
    /// has no ramp. Any thread.
    void settleGains();

    /// Stores a normalised value, and rebuilds where ZL or LL flips. Not on a thread that holds
    /// audioLock.
    void setParameter(int32_t index, double value);
    /// Works out preverbSamples, and raises the reported latency where it must. Any thread.
    void applyDelayChange();

    /// Runs the chain, builds engines for its result to the side and puts them in place of the old
    /// ones. Blocks until that is done, while audio goes on; never on a thread that holds
    /// audioLock. A request from inside, by a host that calls back while the chain runs, is noted
    /// and done once at the end. Where memory runs out, also for a stage, the old engines go on,
    /// and the request is done again at the host's idle calls, a few times: with `isRetry`.
    /// Answers false where the host closed the instance from inside: it is gone then.
    bool rebuildImpulse(bool isRetry = false) noexcept;

    /// Ends the instance: at once, or, from inside a rebuild, when that is through. On the host's
    /// main thread, which touches the instance no more.
    void close();

    /// Closes the dialog of a stage that left the chain, and deletes it. On the host's main thread.
    void retire(ImpulseChain::Stage stage);
    void removeAllStages();

    /// Tells the host that the state changed, though no single parameter did.
    void tellHostOfChange();

    AEffect effect{};

    CriticalSection audioLock; ///< held for a whole block; guards down to `audio`
    Relaxed<double> params[paramCount];
    Relaxed<double> sampleRate{44100.0};
    Relaxed<int32_t> preverbSamples{0};
    AudioPath audio;

    ImpulseChain chain;
    CriticalSection rebuildLock; ///< one rebuild at a time; guards `impulse`
    Relaxed<uint8_t> rebuildPending{0};
    ImpulseBuffer impulse;             ///< the response that the engines have
    Relaxed<int32_t> impulseLength{0}; ///< of `impulse`, for readers without its lock
    Relaxed<int32_t> impulseChannels{1};

    EditorLink editor;

  private:
    AudioPath::Settings audioSettings();
    void reportLatency(int32_t samples);
    bool rebuildOnce() noexcept;
    bool replaceResponse() noexcept;
    void exchangeEngines(EngineSet &next, int32_t primed, int32_t channels);
    int32_t presentPreroll();

    // Under rebuildLock.
    bool rebuilding = false;
    bool rebuildAgain = false;
    bool closing = false;       ///< gone when the rebuild is through
    int32_t failedRebuilds = 0; ///< in a row
};

} // namespace tonvale
