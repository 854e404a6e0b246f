#include "workbench/cli/rendering/block_pipeline.h"

#include "platform/flush_to_zero.h"

#include <algorithm>
#include <thread>

namespace tonvale::workbench {

namespace {

// Enough that nobody waits for a neighbour who is late now and then.
constexpr size_t blockCount = 8;
// The engines take 16384 samples at a time from the longest responses; caches hold that.
constexpr size_t usualFrames = 16384;
constexpr size_t fewestFrames = 256;
constexpr size_t mostSamples = 3 << 20; ///< of all blocks, 24 MiB

/// Threads that are waited for, whatever happens.
class ThreadGroup {
  public:
    ~ThreadGroup() {
        for (std::thread &thread : threads)
            thread.join();
    }
    template <class Work>
    void start(Work work) {
        threads.emplace_back(std::move(work));
    }

  private:
    std::vector<std::thread> threads;
};

} // namespace

BlockPipeline::BlockPipeline(int feeds, const std::vector<int> &widths)
    : blocks(blockCount)
    , worked(widths.size(), 0) {
    int planes = feeds;
    for (const int width : widths) {
        firstPlanes.push_back(planes - feeds);
        planes += width;
    }
    const auto count = static_cast<size_t>(planes);
    const size_t frames = std::clamp(mostSamples / blockCount / count, fewestFrames, usualFrames);
    blockFrames = static_cast<int>(frames);
    for (Block &block : blocks) {
        block.samples.resize(count * frames);
        for (size_t p = 0; p < count; ++p) {
            auto &side = p < static_cast<size_t>(feeds) ? block.in : block.out;
            side.push_back(block.samples.data() + p * frames);
        }
    }
}

/// False when all shall stop.
template <class Condition>
bool BlockPipeline::waitFor(std::condition_variable &change, Condition condition) {
    std::unique_lock held(lock);
    change.wait(held, [&] { return stopped || condition(); });
    return !stopped;
}

/// Runs a part and stops all others when it fails.
void BlockPipeline::guard(const std::function<void()> &part) {
    try {
        const FlushToZeroScope noDenormals;
        part();
    } catch (...) {
        const std::scoped_lock held(lock);
        if (!failure)
            failure = std::current_exception();
        stopped = true;
        for (auto *change : {&roomMade, &inputFilled, &blockWorked})
            change->notify_all();
    }
}

bool BlockPipeline::isWorked(int64_t index) const {
    return std::all_of(worked.begin(), worked.end(),
                       [index](int64_t count) { return count > index; });
}

void BlockPipeline::fill(const Source &source, const StreamSpan &span) {
    const auto size = static_cast<int64_t>(blocks.size());
    int64_t read = 0;
    bool ended = false;
    while (waitFor(roomMade, [&] { return filled - drained < size; })) {
        const Block &next = block(filled);
        const int got = ended ? 0 : source(next.in.data(), blockFrames);
        read += got;
        ended = ended || got < blockFrames;
        for (double *plane : next.in)
            std::fill(plane + got, plane + blockFrames, 0.0);

        const std::scoped_lock held(lock);
        ++filled;
        streamEnd = span.skipped + std::max(read, span.leastRead) + span.behind;
        const bool isLast = ended && filled * blockFrames >= streamEnd;
        if (isLast)
            total = filled;
        inputFilled.notify_all();
        if (isLast) {
            blockWorked.notify_all();
            return;
        }
    }
}

void BlockPipeline::work(size_t index, const Worker &worker) {
    bool isOver = false;
    const auto isNext = [&](int64_t k) {
        isOver = k == total;
        return isOver || k < filled;
    };
    for (int64_t k = 0; waitFor(inputFilled, [&] { return isNext(k); }) && !isOver; ++k) {
        const Block &present = block(k);
        worker(present.in.data(), present.out.data() + firstPlanes[index], blockFrames);
        const std::scoped_lock held(lock);
        worked[index] = k + 1;
        if (isWorked(k))
            blockWorked.notify_all();
    }
}

void BlockPipeline::drainAll(const Drain &drain, const StreamSpan &span) {
    bool isOver = false;
    int64_t end = 0;
    const auto isNext = [&](int64_t k) {
        isOver = k == total;
        // What is read before the end is all written.
        end = std::min((k + 1) * blockFrames, total ? streamEnd : INT64_MAX);
        return isOver || isWorked(k);
    };
    for (int64_t k = 0; waitFor(blockWorked, [&] { return isNext(k); }) && !isOver; ++k) {
        const int64_t first = std::max(k * blockFrames, span.skipped);
        if (first < end) {
            drain(block(k).out.data(), static_cast<int>(end - first),
                  static_cast<int>(first - k * blockFrames));
        }
        const std::scoped_lock held(lock);
        ++drained;
        roomMade.notify_all();
    }
}

void BlockPipeline::run(const Source &source, const std::vector<Worker> &workers,
                        const Drain &drain, const StreamSpan &span) {
    {
        ThreadGroup threads;
        guard([&] {
            threads.start([&] { guard([&] { fill(source, span); }); });
            for (size_t i = 0; i < workers.size(); ++i)
                threads.start([this, &workers, i] { guard([&] { work(i, workers[i]); }); });
            drainAll(drain, span);
        });
    }
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace tonvale::workbench
