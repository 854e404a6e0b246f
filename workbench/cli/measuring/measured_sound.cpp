#include "workbench/cli/measuring/measured_sound.h"

#include "convolution/containers/bounded_integer.h"
#include "host/host_object_ptr.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <cmath>

namespace tonvale::workbench {

namespace {

constexpr int blockFrames = 4096;

class SoundSource final : public MediaSource {
  public:
    explicit SoundSource(const MeasuredSound &from)
        : sound(from) {}

    void destroy(int) override { delete this; }
    int GetNumChannels() override { return static_cast<int>(sound.channels.size()); }
    double GetSampleRate() override { return sound.rate; }
    double GetLength() override { return static_cast<double>(sound.length()) / sound.rate; }

    void GetSamples(MediaReadBlock *block) override {
        const auto total = static_cast<int64_t>(sound.length());
        const int64_t start = boundedInteger(std::round(block->time * sound.rate), 0, INT32_MAX);
        const int64_t count = std::clamp<int64_t>(total - start, 0, block->length);
        for (int64_t i = 0; i < count; ++i) {
            for (int c = 0; c < block->channels; ++c) {
                const auto &channel =
                    sound.channels[static_cast<size_t>(c) % sound.channels.size()];
                block->samples[i * block->channels + c] = channel[static_cast<size_t>(start + i)];
            }
        }
        block->samplesOut = static_cast<int32_t>(count);
    }

  private:
    ~SoundSource() = default;

    const MeasuredSound &sound;
};

} // namespace

MeasuredSound loadSound(const std::string &path) {
    const HostObjectPtr<MediaSource> source(createMediaSource(path.c_str()));
    MeasuredSound sound;
    if (!source)
        return sound;
    sound.rate = source->GetSampleRate();
    const int width = source->GetNumChannels();
    sound.channels.resize(static_cast<size_t>(width));
    std::vector<double> frames(static_cast<size_t>(width) * blockFrames);
    for (MediaReadBlock block{};;) {
        block.time = block.secondTime = static_cast<double>(sound.length()) / sound.rate;
        block.sampleRate = sound.rate;
        block.channels = width;
        block.length = blockFrames;
        block.samples = frames.data();
        source->GetSamples(&block);
        if (block.samplesOut < 1)
            return sound;
        for (size_t c = 0; c < sound.channels.size(); ++c) {
            for (int i = 0; i < block.samplesOut; ++i)
                sound.channels[c].push_back(frames[static_cast<size_t>(i * width) + c]);
        }
    }
}

MediaSource *makeSoundSource(const MeasuredSound &sound) {
    return new SoundSource(sound);
}

} // namespace tonvale::workbench
