#pragma once

#include "convolution/containers/fifo_buffer.h"
#include "convolution/containers/relaxed.h"
#include "core/channel_limit.h"
#include "core/engine_set.h"
#include "platform/auto_reset_event.h"
#include "platform/critical_section.h"
#include "platform/worker_thread.h"

namespace tonvale {

/// The late part of a long response, on a thread of its own: the worker convolves what the audio
/// thread queues in tailInput and queues the result in tailOutput, from where the audio thread adds
/// it to the wet signal. The tail of a sample isn't due until tailSplit samples later, which is the
/// worker's time.
///
/// start() and stop() are the rebuild's alone, which holds neither the owner's audioLock nor
/// workerLock then. All else but awaitCycle() runs under the owner's audioLock: exchange() and
/// reset() enter workerLock inside it, the others only queueLock.
class TailWorker {
  public:
    TailWorker() = default;
    ~TailWorker() { stop(); }
    TailWorker(const TailWorker &) = delete;
    TailWorker &operator=(const TailWorker &) = delete;

    /// Makes sure that the thread runs, and gets the memory that what is queued for a tail from
    /// `split` on in `channels` channels needs. False where the thread can't run.
    bool start(int32_t split, int32_t channels);
    /// Ends the thread, and empties the queues. Audio has no use for a tail any more.
    void stop();
    bool isRunning() const { return workerThread != nullptr; }

    /// Swaps engine and split with those of `next`, and lines what is queued up with a wet stream
    /// of which the next sample is `wetPreroll` samples old. Where a cycle is under way it waits,
    /// or, without `isPatient`, answers false and changes nothing.
    bool exchange(EngineSet &next, int32_t wetPreroll, bool isPatient);
    /// Waits for the end of a cycle under way. Without the owner's audioLock.
    void awaitCycle() { CriticalScope workerScope(workerLock); }
    /// Forgets all signal.
    void reset();
    /// Whether there is a tail.
    bool isActive() const { return tailEngine != nullptr; }
    int32_t split() const { return tailSplit; }

    /// Hands over `frames` samples of each channel, null for silence.
    void feed(const double *const *fed, int32_t frames, int32_t channels);
    /// So many samples of the wet stream were dropped.
    void skip(int32_t samples) { tailSkew -= samples; }
    /// Adds the tail to `wetCount` samples of each channel; a null channel drops its part. Waits
    /// for a worker that will yet deliver, and goes without where nothing is under way.
    void addTo(double *const *wet, int32_t wetCount, int32_t channels);

  private:
    static void entry(void *worker);
    void run();
    bool runCycle();
    bool convolve();
    void levelQueues(int32_t channels);
    void clearQueues();
    int32_t leastReady(int32_t channels);
    int32_t settleSkew(int32_t wetCount, int32_t channels, int32_t &available);
    void add(double *const *wet, int32_t done, int32_t count, int32_t channels);

    // Changed under the owner's audioLock and workerLock together; used under either.
    std::unique_ptr<ConvolutionEngineDiv> tailEngine;
    int32_t tailSplit = 0;

    /// By how many samples the tail's next one is due later than the next wet one; below 0, how
    /// many of it are stale. The owner's audioLock.
    int32_t tailSkew = 0;

    CriticalSection workerLock; ///< held by the worker for a whole cycle
    CriticalSection queueLock;  ///< guards the four below, for short steps
    FifoBuffer tailInput[maxChannels];
    FifoBuffer tailOutput[maxChannels];
    int32_t workerChannels = 0;   ///< of the last block handed over
    int32_t workerConvolving = 0; ///< 1 while the worker convolves with queueLock released

    // The rebuild's, but for signals and waits while there is a tail.
    std::unique_ptr<WorkerThread> workerThread;
    std::unique_ptr<AutoResetEvent> workerWake; ///< new input for the worker
    std::unique_ptr<AutoResetEvent> workerDone; ///< new output of the worker
    Relaxed<int32_t> workerStop{0};
};

} // namespace tonvale
