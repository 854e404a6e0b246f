#include "core/reverb_plugin.h"

#include "convolution/containers/raw_memory.h"
#include "convolution/sample_streams.h"
#include "platform/flush_to_zero.h"

#include <algorithm>
#include <new>

// The late part of a long response, on a thread of its own: the worker convolves what the audio
// thread queues in tailInput and queues the result in tailOutput, from where the audio thread adds
// it to the wet signal. The tail of a sample isn't due until tailSplit samples later, which is the
// worker's time.

namespace tonvale {

namespace {

/// Waits are this short, so that a signal which an earlier cycle used up costs no more.
constexpr std::chrono::milliseconds turn{1};

} // namespace

bool ReverbPlugin::startWorker() {
    if (!workerWake)
        workerWake = tryMake<AutoResetEvent>();
    if (!workerDone)
        workerDone = tryMake<AutoResetEvent>();
    if (!workerWake || !workerDone)
        return false;
    if (workerThread)
        return true;
    workerStop = 0;
    auto thread = tryMake<WorkerThread>();
    if (!thread || !thread->start(workerEntry, this))
        return false;
    workerThread = std::move(thread);
    return true;
}

void ReverbPlugin::stopWorker() {
    if (workerThread) {
        workerStop = 1;
        workerWake->signal();
        workerThread->join();
        workerThread.reset();
    }
    workerWake.reset();
    workerDone.reset();
}

void ReverbPlugin::workerEntry(void *plugin) {
    static_cast<ReverbPlugin *>(plugin)->runWorker();
}

void ReverbPlugin::runWorker() {
    const FlushToZeroScope flushScope;
    {
        CriticalScope queueScope(queueLock);
        workerConvolving = 0;
    }
    while (!workerStop) {
        // A cycle that did anything goes on at once, since more may be queued.
        if (!runWorkerCycle())
            workerWake->wait(turn);
    }
}

/// Answers whether there was anything to do.
bool ReverbPlugin::runWorkerCycle() {
    CriticalScope workerScope(workerLock);
    if (workerStop || !tailEngine)
        return false;
    try {
        return convolveTail();
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
bool ReverbPlugin::convolveTail() {
    const int32_t block = tailEngine->latencySamples();
    int32_t channels = 0;
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
        double *const *results = tailEngine->outputPointers();
        for (int32_t c = 0; c < channels; ++c) {
            const bool ready = results && tailEngine->samplesReady(c) >= done;
            appendSamples(tailOutput[c], ready ? results[c] : nullptr, done);
        }
        // Channels that joined meanwhile stay in step.
        for (int32_t c = channels; c < workerChannels; ++c)
            appendSamples(tailOutput[c], nullptr, done);
        tailEngine->advanceOutput(done);
    }
    workerDone->signal();
    return true;
}

int32_t ReverbPlugin::leastAvailable(const FifoBuffer *queues, int32_t channels) {
    int32_t least = queues[0].samplesAvailable();
    for (int32_t c = 1; c < channels; ++c)
        least = std::min(least, queues[c].samplesAvailable());
    return least;
}

/// Makes the tail streams of `channels` channels as long as the first one's, so that a channel
/// which joins in mid-sound holds no other back. Under queueLock.
void ReverbPlugin::levelTailQueues(int32_t channels) {
    for (int32_t c = std::max(workerChannels, 1); c < channels; ++c) {
        for (FifoBuffer *queues : {tailInput, tailOutput}) {
            queues[c].clear();
            appendSamples(queues[c], nullptr, queues[0].samplesAvailable());
        }
    }
    workerChannels = channels;
}

/// Adds the tail to the `wetCount` wet samples of each channel; a null channel of `wet` drops its
/// part. On the audio thread, under audioLock. It waits for a worker that will yet deliver, and
/// goes without the tail when there is nothing under way.
void ReverbPlugin::collectTail(double *const *wet, int32_t wetCount, int32_t channels) {
    int32_t done = 0;
    while (true) {
        if (tailSkew < wetCount - done && leastTailReady(channels) < 1)
            workerDone->wait(turn);

        CriticalScope queueScope(queueLock);
        int32_t available = leastAvailable(tailOutput, channels);
        done += settleTailSkew(wetCount - done, channels, available);
        const int32_t count = tailSkew == 0 ? std::min(wetCount - done, available) : 0;
        addTail(wet, done, count, channels);
        done += count;
        const bool stalled = !workerConvolving &&
                             leastAvailable(tailInput, channels) < tailEngine->latencySamples() &&
                             leastAvailable(tailOutput, channels) < 1;
        if (stalled || workerStop || done >= wetCount)
            return;
    }
}

int32_t ReverbPlugin::leastTailReady(int32_t channels) {
    CriticalScope queueScope(queueLock);
    return leastAvailable(tailOutput, channels);
}

/// Works off what the tail stream is early or late by. Answers how many wet samples pass with no
/// tail, since its first samples aren't due yet.
int32_t ReverbPlugin::settleTailSkew(int32_t wetCount, int32_t channels, int32_t &available) {
    if (tailSkew < 0) {
        const int32_t stale = std::min(-tailSkew, available);
        for (int32_t c = 0; c < channels; ++c)
            tailOutput[c].advance(sampleBytes(stale));
        tailSkew += stale;
        available -= stale;
    }
    const int32_t early = std::clamp(tailSkew, 0, wetCount);
    tailSkew -= early;
    return early;
}

void ReverbPlugin::addTail(double *const *wet, int32_t done, int32_t count, int32_t channels) {
    for (int32_t c = 0; c < channels; ++c) {
        const double *tail = tailOutput[c].samples();
        for (int32_t i = 0; wet[c] && i < count; ++i)
            wet[c][done + i] += tail[i];
        tailOutput[c].consumeSamples(count);
    }
}

} // namespace tonvale
