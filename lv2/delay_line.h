#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace tonvale::lv2 {

/// The past of some channels, as far back as the longest latency.
class DelayLine {
  public:
    DelayLine(size_t channels, int32_t most, int32_t longestBlock)
        : length(static_cast<size_t>(most + longestBlock))
        , samples(channels * length) {}

    void clear() { std::fill(samples.begin(), samples.end(), 0.0); }

    /// `frames`, at most the longest block, of each channel.
    void write(const double *const *in, int32_t frames) {
        const auto count = static_cast<size_t>(frames);
        const size_t head = std::min(count, length - end);
        for (size_t c = 0; c * length < samples.size(); ++c) {
            double *channel = samples.data() + c * length;
            std::copy_n(in[c], head, channel + end);
            std::copy_n(in[c] + head, count - head, channel);
        }
        end = (end + count) % length;
    }

    /// Sample `i` of the block of `frames` written last, `delay` samples late.
    double at(size_t channel, int32_t frames, int32_t i, int32_t delay) const {
        const size_t back = static_cast<size_t>(frames - i + delay);
        return samples[channel * length + (end + length - std::min(back, length)) % length];
    }

  private:
    size_t length;
    std::vector<double> samples; ///< a ring for each channel
    size_t end = 0;
};

} // namespace tonvale::lv2
