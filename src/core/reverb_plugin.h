#pragma once

#include "chain/impulse_generator.h"
#include "chain/stage_owner.h"
#include "convolution/containers/block_queue.h"
#include "convolution/containers/fifo_buffer.h"
#include "convolution/containers/impulse_buffer.h"
#include "convolution/containers/relaxed.h"
#include "convolution/convolution_engine.h"
#include "convolution/convolution_engine_div.h"
#include "core/editor_link.h"
#include "core/parameters.h"
#include "host/aeffect.h"
#include "platform/auto_reset_event.h"
#include "platform/critical_section.h"
#include "platform/worker_thread.h"

#include <memory>

namespace tonvale {

/// One instance of the plug-in. The host sees only `effect`, whose `user` leads back here.
///
/// Three kinds of thread meet: the host's main thread (dispatcher, editor, rebuilds), its audio
/// thread (processAudio, under audioLock for the whole block) and the instance's own worker thread,
/// which convolves the late part of a long response while there is one. Parameters come from any
/// thread.
///
/// Locks are entered in the order rebuildLock, chainLock, a stage's lock; then, with chainLock
/// released, audioLock, workerLock, queueLock. A rebuild never starts on a thread that holds
/// audioLock.
struct ReverbPlugin {
    static constexpr int32_t maxChannels = 128;

    ReverbPlugin();
    ~ReverbPlugin();
    ReverbPlugin(const ReverbPlugin &) = delete;
    ReverbPlugin &operator=(const ReverbPlugin &) = delete;

    // The audio path.

    /// One block: `frames` samples of each of effect.numInputs channels. A null input is silence;
    /// outputs may be the inputs. Allocates nothing once its buffers have their working size.
    void processAudio(double **inputs, double **outputs, int32_t frames);

    /// Empties every signal path, and lets the reported latency go down to what is needed. Any
    /// thread.
    void resetAudioState();

    /// Makes the present gains and width those at the end of the last block, so that the next one
    /// has no ramp. Under audioLock.
    void settleGains();

    // Parameters and what hangs on them.

    void setParameter(int32_t index, double value);
    /// Works out preverbSamples, and raises the reported latency where it must.
    void applyDelayChange();

    // From the chain to the sound.

    /// Runs the chain, builds engines for its result to the side and puts them in place of the old
    /// ones. Blocks until that is done, while audio goes on; never on a thread that holds
    /// audioLock.
    void rebuildImpulse();

    // The state that a host saves with its project.

    /// Puts the address of the chunk into `*data` and answers its size in bytes. The address is
    /// good until the next call for any instance; not on two threads at once.
    int32_t saveChunk(void **data);
    /// Takes a chunk of `size` bytes, or as much of a damaged one as can be read.
    void loadChunk(const void *data, int32_t size);

    /// Tells the host that the state changed, though no single parameter did.
    void tellHostOfChange();

    // Fields. Those that a thread reads without the lock that guards their changes are relaxed.

    int32_t wetPreroll = 0; ///< samples of wet replaced by silence since the last reset; audioLock
    Relaxed<int32_t> preverbSamples{0};

    // Changed under audioLock and workerLock together; used under either.
    std::unique_ptr<ConvolutionEngineDiv> zlEngine;   ///< main engine while ZL is on
    std::unique_ptr<ConvolutionEngine> uniformEngine; ///< main engine while ZL is off
    std::unique_ptr<ConvolutionEngineDiv> tailEngine; ///< the response beyond tailSplit, with LL

    // Touched by the rebuild alone, under rebuildLock, but for signals and waits.
    std::unique_ptr<WorkerThread> workerThread;
    std::unique_ptr<AutoResetEvent> workerWake; ///< new input for the worker
    std::unique_ptr<AutoResetEvent> workerDone; ///< new output of the worker

    Relaxed<int32_t> workerStop{0};
    int32_t workerChannels = 0;   ///< of the last block handed to the worker; queueLock
    int32_t workerConvolving = 0; ///< 1 while it convolves with queueLock released; queueLock
    CriticalSection workerLock;   ///< held by the worker for a whole cycle
    CriticalSection queueLock;    ///< for short steps on the two groups of queues
    FifoBuffer tailInput[maxChannels];
    FifoBuffer tailOutput[maxChannels];
    int32_t tailSkew = 0;  ///< alignment of the tail to the wet stream, samples; audioLock
    int32_t tailSplit = 0; ///< samples of the response that stay with the main engine; 0: no tail

    BlockQueue dryDelay[maxChannels];
    SampleBuffer dryScratch;
    CriticalSection chainLock; ///< guards `stages`; never entered by the audio thread
    PointerList<ImpulseGenerator> stages;
    int32_t engineLatency = 0; ///< largest of any main engine since the last reset; audioLock

    // At the end of the last block; audioLock.
    double lastWidth = 1.0;
    double lastDry = 0.0;
    double lastWetLeft = 0.0;  ///< even channels
    double lastWetRight = 0.0; ///< odd channels

    SampleBuffer widthScratch;
    Relaxed<double> sampleRate{44100.0};
    AEffect effect{};
    Relaxed<double> params[paramCount];
    CriticalSection audioLock; ///< held for a whole block
    Relaxed<uint8_t> rebuildPending{0};
    CriticalSection rebuildLock;       ///< one rebuild at a time; guards `impulse`
    ImpulseBuffer impulse;             ///< the latest result of the chain
    Relaxed<int32_t> impulseLength{0}; ///< of `impulse`, for readers without its lock
    Relaxed<int32_t> impulseChannels{1};
    EditorLink editor;

  private:
    struct AudioBlock;
    struct WetGains {
        double left;
        double right;
    };

    void captureDry(const AudioBlock &block);
    void mixWidth(AudioBlock &block);
    void feedEngines(const AudioBlock &block);
    int32_t settleWetTiming(int32_t frames);
    int32_t settleDryTiming(const AudioBlock &block);
    void writeOutput(const AudioBlock &block, int32_t wetCount, int32_t dryCount);
    int32_t fetchDry(int32_t channel, int32_t dryCount, int32_t queuedOnFirst);
    double widthValue() const { return params[paramWidth] * 2.0 - 1.0; }
    WetGains wetGains() const;
    void settleOutputGains();

    /// Calls `use` on the main engine; 0 without one.
    template <class Use>
    auto onMainEngine(Use use) -> decltype(use(*uniformEngine)) {
        if (uniformEngine)
            return use(*uniformEngine);
        if (zlEngine)
            return use(*zlEngine);
        return decltype(use(*uniformEngine))();
    }

    void runChain();
    bool startWorker();
    void stopWorker();
    void clearTailQueues();
    void setReportedLatency(int32_t samples);

    // The worker and what the audio thread has from it.
    static void workerEntry(void *plugin);
    void runWorker();
    bool runWorkerCycle();
    bool convolveTail();
    void levelTailQueues(int32_t channels);
    void collectTail(double *const *wet, int32_t wetCount, int32_t channels);
    int32_t leastTailReady(int32_t channels);
    int32_t settleTailSkew(int32_t wetCount, int32_t channels, int32_t &available);
    void addTail(double *const *wet, int32_t done, int32_t count, int32_t channels);
    static int32_t leastAvailable(const FifoBuffer *queues, int32_t channels);
};

/// All that a host asks of one but audio and parameters.
intptr_t dispatchEffect(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                        float opt);
/// The family of sub-commands behind effVendorSpecific.
intptr_t dispatchVendorCommand(ReverbPlugin &plugin, int32_t index, intptr_t value, void *ptr,
                               float opt);

} // namespace tonvale
