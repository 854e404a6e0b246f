#include "core/tail_worker.h"

#include "convolution/containers/raw_memory.h"
#include "convolution/ready_pointers.h"
#include "convolution/sample_streams.h"
#include "platform/flush_to_zero.h"

#include <algorithm>
#include <mutex>
#include <new>

namespace tonvale {

namespace {

/// Waits are this short, so that a signal which an earlier cycle used up costs no more.
constexpr std::chrono::milliseconds turn{1};

int32_t leastAvailable(const FifoBuffer *queues, int32_t channels) {
    int32_t least = queues[0].samplesAvailable();
    for (int32_t c = 1; c < channels; ++c)
        least = std::min(least, queues[c].samplesAvailable());
    return least;
}

} // namespace

bool TailWorker::start(int32_t split, int32_t channels) {
    for (int32_t c = 0; c < channels; ++c) {
        CriticalScope queueScope(queueLock);
        reserveSamples(tailInput[c], split + usualBlock, usualBlock);
    }
    if (workerThread)
        return true;
    if (!workerWake)
        workerWake = tryMake<AutoResetEvent>();
    if (!workerDone)
        workerDone = tryMake<AutoResetEvent>();
    auto thread = tryMake<WorkerThread>();
    if (!workerWake || !workerDone || !thread)
        return false;
    workerStop = 0;
    if (!thread->start(entry, this))
        return false;
    workerThread = std::move(thread);
    return true;
}

void TailWorker::stop() {
    if (workerThread) {
        workerStop = 1;
        workerWake->signal();
        workerThread->join();
        workerThread.reset();
    }
    workerWake.reset();
    workerDone.reset();
    clearQueues();
}

bool TailWorker::exchange(EngineSet &next, int32_t wetPreroll, bool isPatient) {
    if (isPatient)
        workerLock.lock();
    else if (!workerLock.tryLock())
        return false;
    const CriticalScope workerScope(std::adopt_lock, workerLock);
    std::swap(tailEngine, next.tailEngine);
    std::swap(tailSplit, next.tailSplit);
    CriticalScope queueScope(queueLock);
    // The next sample of the tail is as old as all that is queued.
    tailSkew =
        tailSplit + wetPreroll - tailInput[0].samplesAvailable() - tailOutput[0].samplesAvailable();
    return true;
}

void TailWorker::reset() {
    if (!tailEngine)
        return;
    CriticalScope workerScope(workerLock);
    tailEngine->resetState();
    clearQueues();
    tailSkew = tailSplit;
}

void TailWorker::feed(const double *const *fed, int32_t frames, int32_t channels) {
    {
        CriticalScope queueScope(queueLock);
        levelQueues(channels);
        for (int32_t c = 0; c < channels; ++c) {
            reserveSamples(tailInput[c], tailSplit + frames, frames);
            appendSamples(tailInput[c], fed[c], frames);
        }
    }
    workerThread->keepUpWithCaller();
    workerWake->signal();
}

/// Makes the streams of `channels` channels as long as the first one's, so that a channel which
/// joins in mid-sound holds no other back. Under queueLock.
void TailWorker::levelQueues(int32_t channels) {
    for (int32_t c = std::max(workerChannels, 1); c < channels; ++c) {
        for (FifoBuffer *queues : {tailInput, tailOutput}) {
            queues[c].clear();
            appendSamples(queues[c], nullptr, queues[0].samplesAvailable());
        }
    }
    workerChannels = channels;
}

void TailWorker::clearQueues() {
    CriticalScope queueScope(queueLock);
    for (FifoBuffer *queues : {tailInput, tailOutput}) {
        for (int32_t c = 0; c < maxChannels; ++c)
            queues[c].clear();
    }
}

// What the audio thread has from it.

void TailWorker::addTo(double *const *wet, int32_t wetCount, int32_t channels) {
    int32_t done = 0;
    while (true) {
        if (tailSkew < wetCount - done && leastReady(channels) < 1)
            workerDone->wait(turn);

        CriticalScope queueScope(queueLock);
        int32_t available = leastAvailable(tailOutput, channels);
        done += settleSkew(wetCount - done, channels, available);
        const int32_t count = tailSkew == 0 ? std::min(wetCount - done, available) : 0;
        add(wet, done, count, channels);
        done += count;
        const bool stalled = !workerConvolving &&
                             leastAvailable(tailInput, channels) < tailEngine->latencySamples() &&
                             leastAvailable(tailOutput, channels) < 1;
        if (stalled || workerStop || done >= wetCount)
            return;
    }
}

int32_t TailWorker::leastReady(int32_t channels) {
    CriticalScope queueScope(queueLock);
    return leastAvailable(tailOutput, channels);
}

/// Works off what the tail stream is early or late by. Answers how many wet samples pass with no
/// tail, since its first samples aren't due yet.
int32_t TailWorker::settleSkew(int32_t wetCount, int32_t channels, int32_t &available) {
    if (tailSkew < 0) {
        const int32_t stale = std::min(-tailSkew, available);
        for (int32_t c = 0; c < channels; ++c)
            tailOutput[c].consumeSamples(stale);
        tailSkew += stale;
        available -= stale;
    }
    const int32_t early = std::clamp(tailSkew, 0, wetCount);
    tailSkew -= early;
    return early;
}

void TailWorker::add(double *const *wet, int32_t done, int32_t count, int32_t channels) {
    for (int32_t c = 0; c < channels; ++c) {
        const double *tail = tailOutput[c].samples();
        for (int32_t i = 0; wet[c] && i < count; ++i)
            wet[c][done + i] += tail[i];
        tailOutput[c].consumeSamples(count);
    }
}

// The worker.

void TailWorker::entry(void *worker) {
    static_cast<TailWorker *>(worker)->run();
}

void TailWorker::run() {
    const FlushToZeroScope flushScope;
    {
        CriticalScope queueScope(queueLock);
        workerConvolving = 0;
    }
    while (!workerStop) {
        // A cycle that did anything goes on at once, since more may be queued.
        if (!runCycle())
            workerWake->wait(turn);
    }
}

/// Answers whether there was anything to do.
bool TailWorker::runCycle() {
    CriticalScope workerScope(workerLock);
    if (workerStop || !tailEngine)
        return false;
    try {
        return convolve();
    } catch (const std::bad_alloc &) {
        // What is queued would fail again, and the audio thread would wait for it: it is lost.
        CriticalScope queueScope(queueLock);
        workerConvolving = 0;
        for (FifoBuffer &queue : tailInput)
            queue.clear();
        return false;
    }
}

/// Runs one block of the tail engine, which is as long as its latency, if that much is queued.
bool TailWorker::convolve() {
    const int32_t block = tailEngine->latencySamples();
    int32_t channels = 0;
    {
        CriticalScope queueScope(queueLock);
        channels = workerChannels;
    }
    // Another number of channels gets its memory here, where audio waits for nothing.
    if (channels > 0)
        tailEngine->addSamples(nullptr, 0, channels);
    {
        CriticalScope queueScope(queueLock);
        channels = workerChannels;
        if (channels < 1 || block < 1 || leastAvailable(tailInput, channels) < block)
            return false;
        const double *sources[maxChannels];
        for (int32_t c = 0; c < channels; ++c)
            sources[c] = tailInput[c].samples();
        tailEngine->addSamples(sources, block, channels);
        for (int32_t c = 0; c < channels; ++c)
            tailInput[c].consumeSamples(block);
        workerConvolving = 1;
    }

    const int32_t done = tailEngine->samplesAvailable(2 * block);

    {
        CriticalScope queueScope(queueLock);
        workerConvolving = 0;
        if (done < 1)
            return true;
        double *results[maxChannels];
        readyPointers(*tailEngine, results, done, channels);
        for (int32_t c = 0; c < channels; ++c)
            appendSamples(tailOutput[c], results[c], done);
        // Channels that joined meanwhile stay in step.
        for (int32_t c = channels; c < workerChannels; ++c)
            appendSamples(tailOutput[c], nullptr, done);
        tailEngine->advanceOutput(done);
    }
    workerDone->signal();
    return true;
}

} // namespace tonvale
