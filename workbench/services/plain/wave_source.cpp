#include "text/file_path.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <optional>
#include <vector>

namespace tonvale::workbench {

namespace {

constexpr size_t largestFile = size_t{1} << 30;
constexpr int mostChannels = 1024;

enum WaveTag : uint16_t { waveIntegers = 1, waveFloats = 3, waveExtensible = 0xFFFE };

/// The samples of a WAV file, as they stand in it.
struct WaveData {
    bool isInteger = false;
    int channels = 0;
    int rate = 0; ///< Hz
    size_t sampleBytes = 0;
    std::vector<uint8_t> bytes;

    int64_t frames() const { return static_cast<int64_t>(bytes.size() / sampleBytes) / channels; }

    /// 0 beyond the end, and for what isn't finite.
    double sample(int64_t frame, int channel) const {
        if (frame >= frames())
            return 0.0;
        const uint8_t *at =
            bytes.data() + static_cast<size_t>(frame * channels + channel) * sampleBytes;
        const double value = isInteger ? integer(at) : floating(at);
        return std::isfinite(value) ? value : 0.0;
    }

  private:
    double integer(const uint8_t *at) const {
        uint32_t bits = 0;
        for (size_t i = 0; i < sampleBytes; ++i)
            bits |= uint32_t{at[i]} << (8 * (4 - sampleBytes + i));
        return static_cast<int32_t>(bits) * 0x1p-31;
    }

    double floating(const uint8_t *at) const {
        float single;
        double wide;
        if (sampleBytes == sizeof single) {
            std::memcpy(&single, at, sizeof single);
            return static_cast<double>(single);
        }
        std::memcpy(&wide, at, sizeof wide);
        return wide;
    }
};

template <class Number>
Number numberAt(const std::vector<uint8_t> &bytes, size_t at) {
    Number number;
    std::memcpy(&number, bytes.data() + at, sizeof number);
    return number;
}

/// From a chunk "fmt ". False where it tells a form of samples that isn't read.
bool takeFormat(const std::vector<uint8_t> &file, size_t at, size_t size, WaveData &wave) {
    if (size < 16)
        return false;
    auto tag = numberAt<uint16_t>(file, at);
    if (tag == waveExtensible && size >= 40)
        tag = numberAt<uint16_t>(file, at + 24);
    const auto bits = numberAt<uint16_t>(file, at + 14);
    const auto rate = numberAt<uint32_t>(file, at + 4);
    wave.isInteger = tag == waveIntegers;
    wave.channels = numberAt<uint16_t>(file, at + 2);
    wave.rate = static_cast<int>(std::min<uint32_t>(rate, INT32_MAX));
    wave.sampleBytes = bits / 8;
    const bool isKnown = wave.isInteger ? bits == 16 || bits == 24 || bits == 32
                                        : tag == waveFloats && (bits == 32 || bits == 64);
    return isKnown && wave.channels > 0 && wave.channels <= mostChannels && wave.rate > 0;
}

std::vector<uint8_t> readFile(const char *path) {
    std::error_code error;
    const std::filesystem::path place = filePath(path);
    if (!std::filesystem::is_regular_file(place, error) ||
        std::filesystem::file_size(place, error) > largestFile)
        return {};
    std::ifstream in(place, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::optional<WaveData> readWave(const char *path) {
    const std::vector<uint8_t> file = readFile(path);
    if (file.size() < 12 || std::memcmp(file.data(), "RIFF", 4) != 0 ||
        std::memcmp(file.data() + 8, "WAVE", 4) != 0)
        return std::nullopt;
    WaveData wave;
    for (size_t at = 12; at + 8 <= file.size();) {
        const uint8_t *name = file.data() + at;
        const size_t told = numberAt<uint32_t>(file, at + 4);
        at += 8;
        const size_t size = std::min(told, file.size() - at);
        if (std::memcmp(name, "fmt ", 4) == 0 && !takeFormat(file, at, size, wave))
            return std::nullopt;
        if (std::memcmp(name, "data", 4) == 0 && wave.channels > 0) {
            wave.bytes.assign(name + 8, name + 8 + size);
            return wave;
        }
        at += size + size % 2;
    }
    return std::nullopt;
}

/// A WAV file, read into memory. At another rate a sample lies on the line between its neighbours.
/// A wanted count of channels below the file's gives averages: file channel c counts to channel c
/// modulo the wanted count; a higher one repeats the file's channels in turn.
class WaveSource final : public MediaSource {
  public:
    explicit WaveSource(WaveData &&data)
        : wave(std::move(data)) {}

    void destroy(int) override { delete this; }
    int GetNumChannels() override { return wave.channels; }
    double GetSampleRate() override { return wave.rate; }
    double GetLength() override { return static_cast<double>(wave.frames()) / wave.rate; }

    void GetSamples(MediaReadBlock *block) override {
        if (!block)
            return;
        block->samplesOut = 0;
        const double first = std::max(0.0, std::round(block->time * block->sampleRate));
        const double end = std::ceil(GetLength() * block->sampleRate);
        // The negation also holds for a time or a rate that is no number.
        if (!block->samples || block->channels < 1 || !(block->sampleRate > 0.0) || !(first < end))
            return;
        const double left = std::min(end - first, static_cast<double>(block->length));
        double *out = block->samples;
        for (; block->samplesOut < left; ++block->samplesOut)
            for (int c = 0; c < block->channels; ++c)
                *out++ = between((first + block->samplesOut) * wave.rate / block->sampleRate, c,
                                 block->channels);
    }

  private:
    double between(double position, int channel, int wanted) const {
        const auto frame = static_cast<int64_t>(position);
        const double part = position - static_cast<double>(frame);
        const double before = mixed(frame, channel, wanted);
        return part == 0.0 ? before : before + part * (mixed(frame + 1, channel, wanted) - before);
    }

    double mixed(int64_t frame, int channel, int wanted) const {
        if (wanted >= wave.channels)
            return wave.sample(frame, channel % wave.channels);
        double sum = 0.0;
        int count = 0;
        for (int c = channel; c < wave.channels; c += wanted, ++count)
            sum += wave.sample(frame, c);
        return sum / count;
    }

    WaveData wave;
};

} // namespace

MediaSource *createMediaSource(const char *path) {
    if (!path)
        return nullptr;
    std::optional<WaveData> wave = readWave(path);
    return wave ? new WaveSource(std::move(*wave)) : nullptr;
}

} // namespace tonvale::workbench
