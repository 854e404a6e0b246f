#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

namespace tonvale::workbench {

/// Where a stream of samples begins and ends, in frames.
struct StreamSpan {
    int64_t skipped;   ///< at the start, that aren't written
    int64_t behind;    ///< that are written more than are read
    int64_t leastRead; ///< what is read is filled up with silence to this
};

/// Moves a sound in blocks from a source through workers that stand side by side to a drain. The
/// source, each worker and the drain run at the same time, in threads of their own, each on another
/// block. Memory is a few blocks, however long the sound is.
class BlockPipeline {
  public:
    /// Writes the next `frames` samples into the planes and answers how many there were: fewer at
    /// the end only.
    using Source = std::function<int(double *const *planes, int frames)>;
    /// Makes a block of its own planes from the source's.
    using Worker = std::function<void(double *const *in, double *const *out, int frames)>;
    /// Given the planes of all workers, in their order: `frames` samples from `offset` on.
    using Drain = std::function<void(double *const *planes, int frames, int offset)>;

    /// The source fills `feeds` planes, worker i writes `widths[i]` planes.
    BlockPipeline(int feeds, const std::vector<int> &widths);

    /// Runs to the end; the drain runs on the calling thread. Throws what one of them threw first,
    /// when all have stopped.
    void run(const Source &source, const std::vector<Worker> &workers, const Drain &drain,
             const StreamSpan &span);

  private:
    struct Block {
        std::vector<double> samples;
        std::vector<double *> in;
        std::vector<double *> out;
    };

    int blockFrames;
    std::vector<int> firstPlanes; ///< of each worker
    std::vector<Block> blocks;

    // Counts of blocks, under the lock, and what tells of a change: to the source, to the workers,
    // to the drain.
    std::mutex lock;
    std::condition_variable roomMade;
    std::condition_variable inputFilled;
    std::condition_variable blockWorked;
    int64_t filled = 0;
    std::vector<int64_t> worked;
    int64_t drained = 0;
    std::optional<int64_t> total;
    int64_t streamEnd = 0; ///< frames, once `total` is there
    bool stopped = false;
    std::exception_ptr failure;

    template <class Condition>
    bool waitFor(std::condition_variable &change, Condition condition);
    bool isWorked(int64_t index) const;
    void guard(const std::function<void()> &work);
    void fill(const Source &source, const StreamSpan &span);
    void work(size_t index, const Worker &worker);
    void drainAll(const Drain &drain, const StreamSpan &span);
    Block &block(int64_t index) { return blocks[static_cast<size_t>(index) % blocks.size()]; }
};

} // namespace tonvale::workbench
