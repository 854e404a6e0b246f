#include "text/file_path.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>

namespace tonvale::workbench {

namespace {

/// The largest RIFF chunk, less room for what stands around the samples.
constexpr int64_t largestData = 0xFFFFFFFF - 65536;

/// The head of a WAV file, in the order of the file. A size covers what follows it.
#pragma pack(push, 1)
struct WaveHead {
    char riff[4] = {'R', 'I', 'F', 'F'};
    uint32_t riffSize = 0;
    char wave[4] = {'W', 'A', 'V', 'E'};
    char format[4] = {'f', 'm', 't', ' '};
    uint32_t formatSize = 18;
    uint16_t tag = 0;
    uint16_t channels = 0;
    uint32_t rate = 0;
    uint32_t bytesPerSecond = 0;
    uint16_t frameBytes = 0;
    uint16_t bits = 0;
    uint16_t extraSize = 0;
    char fact[4] = {'f', 'a', 'c', 't'};
    uint32_t factSize = 4;
    uint32_t frames = 0;
    char data[4] = {'d', 'a', 't', 'a'};
    uint32_t dataSize = 0;
};
#pragma pack(pop)
static_assert(sizeof(WaveHead) == 58);

/// A WAV file that is being written: 16 and 24 bits as integers, rounded and clipped, 32 and 64 as
/// floating point. What no file of this kind can hold is left out.
class WaveSink final : public MediaSink {
  public:
    WaveSink(std::ofstream opened, int channels, int rate, int bits)
        : file(std::move(opened)) {
        head.tag = bits <= 24 ? 1 : 3;
        head.channels = static_cast<uint16_t>(channels);
        head.rate = static_cast<uint32_t>(rate);
        head.bits = static_cast<uint16_t>(bits);
        head.frameBytes = static_cast<uint16_t>(channels * bits / 8);
        head.bytesPerSecond = head.rate * head.frameBytes;
        writeHead();
    }

    void destroy(int) override {
        const bool isOdd = head.dataSize % 2 != 0;
        if (isOdd)
            file.put(0);
        head.frames = head.dataSize / head.frameBytes;
        head.riffSize = static_cast<uint32_t>(sizeof head - 8 + head.dataSize + isOdd);
        file.seekp(0);
        writeHead();
        delete this;
    }

    void WriteDoubles(double **samples, int length, int channelCount, int offset,
                      int spacing) override {
        for (int64_t n = 0; samples && n < length; ++n) {
            if (int64_t{head.dataSize} + head.frameBytes > largestData)
                return;
            for (int c = 0; c < head.channels; ++c)
                put(c < channelCount && samples[c] ? samples[c][offset + n * spacing] : 0.0);
            head.dataSize += head.frameBytes;
        }
    }

  private:
    void writeHead() { file.write(reinterpret_cast<const char *>(&head), sizeof head); }

    void put(double sample) {
        char bytes[sizeof sample];
        if (head.bits == 64) {
            std::memcpy(bytes, &sample, sizeof sample);
        } else if (head.bits == 32) {
            const auto single = static_cast<float>(sample);
            std::memcpy(bytes, &single, sizeof single);
        } else {
            const double scale = std::ldexp(1.0, head.bits - 1);
            const double level = std::isnan(sample) ? 0.0 : std::nearbyint(sample * scale);
            const auto whole = static_cast<int32_t>(std::clamp(level, -scale, scale - 1.0));
            std::memcpy(bytes, &whole, sizeof whole);
        }
        file.write(bytes, head.bits / 8);
    }

    WaveHead head;
    std::ofstream file;
};

} // namespace

MediaSink *createMediaSink(const char *path, const void *format, int formatSize, int channels,
                           int rate, int) {
    WaveFormatBlock given;
    if (!path || !format || formatSize < static_cast<int>(sizeof given))
        return nullptr;
    std::memcpy(&given, format, sizeof given);
    const bool isKnown = std::memcmp(given.tag, WaveFormatBlock().tag, sizeof given.tag) == 0 &&
                         (given.bitDepth == 16 || given.bitDepth == 24 || given.bitDepth == 32 ||
                          given.bitDepth == 64);
    if (!isKnown || channels < 1 || channels > 1024 || rate < 1 ||
        int64_t{rate} * channels * (given.bitDepth / 8) > UINT32_MAX)
        return nullptr;
    std::ofstream file(filePath(path), std::ios::binary | std::ios::trunc);
    return file ? new WaveSink(std::move(file), channels, rate, given.bitDepth) : nullptr;
}

} // namespace tonvale::workbench
