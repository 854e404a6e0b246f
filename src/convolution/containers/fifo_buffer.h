#pragma once

#include "convolution/containers/heap_buffer.h"

namespace tonvale {

/// A queue of bytes in one block, with a read position. It allocates only to grow past what it ever
/// held. Not thread-safe.
class FifoBuffer {
  public:
    /// Appends `bytes` bytes and answers where they lie, or null when memory is out. Without `data`
    /// the caller fills them.
    void *add(const void *data, int32_t bytes);

    /// The oldest unread byte; null when all is read.
    void *get() const;
    int32_t getAvailable() const { return buffer.getSize() - readPosition; }

    /// Counts `bytes` more as read, at most all, and at least none at all.
    void advance(int32_t bytes);

    /// Moves the unread bytes to the front of the block once more than half of it was read, or with
    /// `force` once any was.
    void compact(bool allowShrink, bool force);

    void clear();

    /// Gets memory now for a queue that will span up to `bytes` bytes, read ones included, so that
    /// it needn't grow on the way.
    void reserve(int32_t bytes);

    // The same by samples of double precision.

    double *addSamples(const double *data, int32_t samples);
    double *samples() const { return static_cast<double *>(get()); }
    int32_t samplesAvailable() const {
        return getAvailable() / static_cast<int32_t>(sizeof(double));
    }
    /// Reads `samples` samples off and compacts.
    void consumeSamples(int32_t samples);

  private:
    HeapBuffer buffer;
    int32_t readPosition = 0;
};

} // namespace tonvale
