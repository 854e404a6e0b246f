#pragma once

#include "convolution/containers/heap_buffer.h"
#include "convolution/stream_convolver.h"

namespace tonvale {

/// The addresses at which an engine's channels can be read.
class OutputPointers {
  public:
    /// One for each channel, null where it has fewer than `wanted` samples ready; null as a whole
    /// without channels, or where memory is out.
    double *const *get(const StreamConvolver &convolver, int32_t wanted) {
        const int32_t count = convolver.channelCount();
        addresses.resize(count, false);
        if (addresses.getSize() != count || count < 1)
            return nullptr;
        const bool enough = convolver.ready() > 0 && convolver.ready() >= wanted;
        for (int32_t i = 0; i < count; ++i)
            addresses.get()[i] = enough ? convolver.output(i) : nullptr;
        return addresses.get();
    }

  private:
    TypedBuffer<double *> addresses;
};

} // namespace tonvale
