#include "workbench/services/media.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <sndfile.h>
#include <vector>

namespace tonvale::workbench {

namespace {

struct SampleFormat {
    uint8_t bitDepth;
    int subtype;
    bool isInteger;
};

constexpr SampleFormat sampleFormats[] = {
    {16, SF_FORMAT_PCM_16, true},
    {24, SF_FORMAT_PCM_24, true},
    {32, SF_FORMAT_FLOAT, false},
    {64, SF_FORMAT_DOUBLE, false},
};

/// A WAV file counts its bytes in 32 bits; some are left for the chunks around the samples.
constexpr int64_t largestFile = 0xFFFFFFFF - 65536;

constexpr int64_t blockFrames = 1024;

/// The whole number of `bitDepth` bits that is nearest to `sample`, 1.0 being full scale, in the
/// upper bits of 32; what is beyond full scale is held there, and a NaN is 0.
int32_t quantised(double sample, int bitDepth) {
    if (std::isnan(sample))
        return 0;
    const double scale = std::ldexp(1.0, bitDepth - 1);
    const double level = std::clamp(std::nearbyint(sample * scale), -scale, scale - 1.0);
    return static_cast<int32_t>(level) * (1 << (32 - bitDepth));
}

/// A WAV file that is being written: 16 and 24 bits as integers, rounded and clipped, 32 and 64 as
/// floating point. Samples that can't be stored, and all that follow them, are lost, which `failed`
/// tells. One thread at a time.
class FileSink final : public MediaSink {
  public:
    FileSink(SNDFILE *opened, int channelCount, const SampleFormat &sampleFormat)
        : file(opened)
        , channels(channelCount)
        , format(sampleFormat) {}

    void destroy(int) override { delete this; }

    /// Channels that aren't given, or null, are silent; those beyond the file's are left out.
    void WriteDoubles(double **samples, int length, int channelCount, int offset,
                      int spacing) override {
        if (!samples || length < 1 || channelCount < 0)
            return;
        for (int64_t done = 0; done < length && !lost; done += blockFrames) {
            const int64_t frames = std::min<int64_t>(blockFrames, length - done);
            gather(samples, std::min(channelCount, channels), offset + done * spacing, frames,
                   spacing);
            write(frames);
        }
    }

    bool failed() const { return lost; }

  private:
    ~FileSink() { sf_close(file); }

    void gather(double **samples, int given, int64_t first, int64_t frames, int spacing) {
        block.assign(static_cast<size_t>(frames * channels), 0.0);
        for (int c = 0; c < given; ++c) {
            if (!samples[c])
                continue;
            for (int64_t n = 0; n < frames; ++n)
                block[static_cast<size_t>(n * channels + c)] = samples[c][first + n * spacing];
        }
    }

    void write(int64_t frames) {
        written += frames * channels * (format.bitDepth / 8);
        lost = written > largestFile || store(frames) != frames;
    }

    sf_count_t store(int64_t frames) {
        if (!format.isInteger)
            return sf_writef_double(file, block.data(), frames);
        levels.resize(block.size());
        std::transform(block.begin(), block.end(), levels.begin(),
                       [this](double sample) { return quantised(sample, format.bitDepth); });
        return sf_writef_int(file, levels.data(), frames);
    }

    SNDFILE *file;
    int channels;
    SampleFormat format;
    std::vector<double> block;
    std::vector<int> levels;
    int64_t written = 0; ///< bytes of samples
    bool lost = false;
};

const SampleFormat *sampleFormat(const void *format, int formatSize) {
    const WaveFormatBlock wave;
    if (!format || formatSize < static_cast<int>(sizeof wave))
        return nullptr;
    WaveFormatBlock given;
    std::memcpy(&given, format, sizeof given);
    if (std::memcmp(given.tag, wave.tag, sizeof wave.tag) != 0)
        return nullptr;
    const auto *found = std::find_if(
        std::begin(sampleFormats), std::end(sampleFormats),
        [&](const SampleFormat &candidate) { return candidate.bitDepth == given.bitDepth; });
    return found == std::end(sampleFormats) ? nullptr : found;
}

/// A pipe would be waited for, without end when nobody reads.
bool isPipe(const char *path) {
    std::error_code error;
    return std::filesystem::is_fifo(path, error);
}

} // namespace

MediaSink *createMediaSink(const char *path, const void *format, int formatSize, int channels,
                           int rate, int) {
    const SampleFormat *chosen = sampleFormat(format, formatSize);
    if (!path || !*path || !chosen || channels < 1 || channels > mostMediaChannels || rate < 1)
        return nullptr;
    // The header's bytes per second have 32 bits.
    if (int64_t{rate} * channels * (chosen->bitDepth / 8) > UINT32_MAX || isPipe(path))
        return nullptr;
    SF_INFO info{};
    info.channels = channels;
    info.samplerate = rate;
    info.format = SF_FORMAT_WAV | chosen->subtype;
    SNDFILE *file = sf_open(path, SFM_WRITE, &info);
    if (!file)
        return nullptr;
    // The peak chunk holds the time of day: equal sounds shall make equal files.
    sf_command(file, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    return new FileSink(file, channels, *chosen);
}

bool mediaSinkFailed(const MediaSink *sink) {
    return !sink || static_cast<const FileSink *>(sink)->failed();
}

} // namespace tonvale::workbench
