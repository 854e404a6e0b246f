#include "measure/source_reading.h"

#include "convolution/containers/bounded_integer.h"

#include <algorithm>
#include <cmath>

namespace tonvale {

namespace {

constexpr int32_t blockFrames = 512;
constexpr int32_t marginFrames = 16;

/// Reads a source in blocks, with its own rate and channels.
class BlockReader {
  public:
    explicit BlockReader(MediaSource &from)
        : source(from)
        , sampleRate(from.GetSampleRate())
        , channelCount(std::max(from.GetNumChannels(), 0)) {
        if (channelCount <= SampleBuffer::maxCount / blockFrames)
            samples.resize(channelCount * blockFrames, false);
    }

    /// Whether there are channels, and room for a block of them.
    bool isReady() const { return samples.getSize() > 0; }
    int32_t getChannels() const { return channelCount; }

    /// The frames from `position` on, at most `wanted` of them; answers how many there are in
    /// frame(), and 0 at the end of the source.
    int32_t read(int32_t position, int32_t wanted) {
        wanted = std::min(wanted, blockFrames);
        std::fill_n(samples.get(), samples.getSize(), 0.0);
        MediaReadBlock block{};
        block.time = block.secondTime = position / sampleRate;
        block.sampleRate = sampleRate;
        block.channels = channelCount;
        block.length = wanted;
        block.samples = samples.get();
        source.GetSamples(&block);
        return std::clamp(block.samplesOut, 0, wanted);
    }

    /// One sample a channel.
    const double *frame(int32_t index) const {
        return samples.get() + static_cast<ptrdiff_t>(index) * channelCount;
    }

  private:
    MediaSource &source;
    double sampleRate;
    int32_t channelCount;
    SampleBuffer samples;
};

} // namespace

FrameRange findAudibleRange(MediaSource &source, double threshold) {
    const double exactLength = std::floor(source.GetLength() * source.GetSampleRate() + 0.5);
    const int32_t total = boundedInteger(exactLength, 0, INT32_MAX);
    if (threshold <= 0.0)
        return {0, total};
    BlockReader reader(source);
    if (!reader.isReady())
        return {0, total};

    const auto isAudible = [threshold](double sample) { return std::fabs(sample) > threshold; };
    bool found = false;
    int32_t first = 0;
    int64_t last = 0;
    for (int32_t position = 0; position < total;) {
        const int32_t count = reader.read(position, total - position);
        if (count < 1)
            break;
        for (int32_t i = 0; i < count; ++i) {
            const double *frame = reader.frame(i);
            if (std::none_of(frame, frame + reader.getChannels(), isAudible))
                continue;
            if (!found)
                first = position + i;
            found = true;
            last = int64_t{position} + i + marginFrames;
        }
        position += count;
    }

    const int32_t start = std::max(first - marginFrames, 0);
    const int64_t end = last > first ? last : int64_t{first} + marginFrames;
    return {start, static_cast<int32_t>(std::min<int64_t>(end, total)) - start};
}

bool readChannels(MediaSource &source, FrameRange range, int32_t bits, ChannelBlocks &channels) {
    BlockReader reader(source);
    if (!reader.isReady())
        return false;
    for (int32_t c = 0; c < reader.getChannels(); ++c) {
        if (!channels.add(bits))
            return false;
    }

    for (int32_t position = 0; position < range.length;) {
        const int32_t count = reader.read(range.start + position, range.length - position);
        if (count < 1)
            break;
        for (int32_t c = 0; c < reader.getChannels(); ++c) {
            double *point = channels.get(c) + ptrdiff_t{2} * position;
            for (int32_t i = 0; i < count; ++i, point += 2)
                *point = reader.frame(i)[c];
        }
        position += count;
    }
    return true;
}

} // namespace tonvale
