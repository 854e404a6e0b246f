#include "workbench/cli/measuring/measured_sound.h"

#include "convolution/containers/bounded_integer.h"
#include "host/host_object_ptr.h"
#include "workbench/cli/sound/recording.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>

namespace tonvale::workbench {

namespace {

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
    sound.channels.resize(static_cast<size_t>(source->GetNumChannels()));
    if (source->GetLength() > 0.0)
        sound.channels = Recording(path).readAll(SIZE_MAX);
    return sound;
}

size_t loudestChannel(const MeasuredSound &sound) {
    const auto energy = [](const std::vector<double> &samples) {
        return std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0);
    };
    const auto loudest =
        std::max_element(sound.channels.begin(), sound.channels.end(),
                         [&](const auto &a, const auto &b) { return energy(a) < energy(b); });
    return static_cast<size_t>(loudest - sound.channels.begin());
}

MeasuredSound channelOf(const MeasuredSound &sound, size_t channel) {
    return {sound.rate, {sound.channels[channel % sound.channels.size()]}};
}

MediaSource *makeSoundSource(const MeasuredSound &sound) {
    return new SoundSource(sound);
}

} // namespace tonvale::workbench
