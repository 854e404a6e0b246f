#pragma once

#include "convolution/containers/pointer_list.h"

namespace tonvale {

/// A queue of bytes over a chain of blocks, which are used again once they are read. What one add()
/// appends lies in one block. Not thread-safe.
class BlockQueue {
  public:
    /// A block and its head fit into 64 KiB with room for what an allocator adds.
    static constexpr int32_t defaultBlockSize = 65536 - 64;

    BlockQueue() = default;
    ~BlockQueue();
    BlockQueue(const BlockQueue &) = delete;
    BlockQueue &operator=(const BlockQueue &) = delete;

    /// Appends `bytes` bytes, zeros without `data`, and answers where they lie; null when memory is
    /// out or `bytes` is below 1.
    void *add(const void *data, int32_t bytes);

    /// Copies up to `bytes` bytes, from `offset` bytes behind the oldest unread one, and consumes
    /// nothing. Answers how many there were.
    int32_t getToBuffer(int32_t offset, void *destination, int32_t bytes) const;

    /// The bytes that lie in one piece `offset` bytes behind the oldest unread one: their address,
    /// and in `bytes` their count; null behind the end.
    const void *getPiece(int32_t offset, int32_t &bytes) const;

    /// Consumes `bytes` bytes.
    void advance(int32_t bytes);
    void advanceSamples(int32_t samples) { advance(sampleBytes(samples)); }

    int32_t getAvailable() const { return available; }
    int32_t samplesAvailable() const { return available / static_cast<int32_t>(sizeof(double)); }

    /// Drops all bytes. Blocks are kept for reuse up to `spareLimit`; below 0 means the queue's own
    /// limit.
    void clear(int32_t spareLimit = -1);

  private:
    struct Block {
        int32_t capacity;
        int32_t used;

        char *payload() { return reinterpret_cast<char *>(this + 1); }
    };

    Block *takeBlock(int32_t bytes);
    void retire(Block *block, int32_t spareLimit);
    static void freeBlock(Block *block);

    PointerList<Block> fullBlocks;
    PointerList<Block> spareBlocks;
    int32_t readOffset = 0;
    int32_t available = 0;
    int32_t blockSize = defaultBlockSize;
    int32_t maxSpare = -1; ///< below 0: spare blocks are never given back while the queue lives
};

} // namespace tonvale
