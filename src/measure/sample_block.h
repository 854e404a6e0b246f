#pragma once

#include "convolution/containers/heap_buffer.h"
#include "convolution/containers/raw_memory.h"

#include <cstdint>
#include <memory>

namespace tonvale {

struct FreeRaw {
    void operator()(double *block) const { freeRaw(block); }
};

/// An owned block of doubles, which may be larger than a HeapBuffer can be.
using SampleBlock = std::unique_ptr<double[], FreeRaw>;

/// A block of 2^`bits` complex points, `bits` from 0 to 32, as interleaved doubles without initial
/// values. Null when memory is out.
inline SampleBlock allocatePoints(int32_t bits) {
    const size_t bytes = (size_t{2} * sizeof(double)) << bits;
    return SampleBlock(static_cast<double *>(allocateRaw(bytes)));
}

/// The signals of a file, or their spectra: one block of complex points a channel. Owns them.
class ChannelBlocks {
  public:
    ChannelBlocks() = default;
    ~ChannelBlocks();
    ChannelBlocks(const ChannelBlocks &) = delete;
    ChannelBlocks &operator=(const ChannelBlocks &) = delete;

    /// Appends a channel of 2^`bits` points, all zero. Answers false, and changes nothing, when
    /// memory is out.
    bool add(int32_t bits);

    int32_t getSize() const { return blocks.getSize(); }
    /// Null while there is no channel.
    double **get() const { return blocks.get(); }
    /// `channel` is 0 to getSize() - 1.
    double *get(int32_t channel) const { return blocks.get()[channel]; }

  private:
    TypedBuffer<double *> blocks;
};

} // namespace tonvale
