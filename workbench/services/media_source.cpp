#include "workbench/services/media.h"
#include "workbench/services/rate_converter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <numeric>
#include <optional>
#include <sndfile.h>
#include <vector>

namespace tonvale::workbench {

namespace {

struct CloseSoundFile {
    void operator()(SNDFILE *file) const { sf_close(file); }
};
using SoundFile = std::unique_ptr<SNDFILE, CloseSoundFile>;

constexpr int64_t blockFrames = 1024;

/// Frames before a read's first one that a conversion needs to hear, at the lower of both rates, so
/// that its filter doesn't know the difference to a read from the start.
constexpr double leadIn = 2048.0;

/// An MPEG frame may borrow bits from several frames before it, without which it decodes to
/// silence; so a seek goes back by as many as the smallest ones can need.
constexpr int64_t mpegLeadIn = 16 * 1152;

/// The smallest step, in whole frames on either side, after which the frames of two rates coincide.
struct RateGrid {
    int64_t inStep;
    int64_t outStep;
};

/// Nothing where the rates aren't multiples of a thousandth of a hertz.
std::optional<RateGrid> rateGrid(double inRate, double outRate) {
    constexpr double parts = 1000.0;
    const double in = inRate * parts, out = outRate * parts;
    if (in > 1e15 || out > 1e15 || in != std::floor(in) || out != std::floor(out))
        return std::nullopt;
    const auto a = static_cast<int64_t>(in), b = static_cast<int64_t>(out);
    const int64_t common = std::gcd(a, b);
    return RateGrid{a / common, b / common};
}

/// A read from a conversion, as it asks for it.
struct ConvertedRead {
    double rate;
    int channels;  ///< at most those of the file
    int64_t frame; ///< at `rate`, from the start of the file
};

/// A media file. GetSamples reads it in order, or from anywhere with a new start; at another rate
/// successive reads join without a seam, since the conversion goes on where the last read ended,
/// and a read elsewhere begins early enough for the same result. Frames lie at whole multiples of
/// 1 / rate; `time` is taken to the nearest. A wanted count of channels below the file's gives
/// averages: file channel c counts to channel c modulo the wanted count. A higher count repeats the
/// file's channels in turn. Samples that aren't finite read as 0. One thread at a time.
class FileSource final : public MediaSource {
  public:
    FileSource(SoundFile opened, const SF_INFO &openedInfo)
        : file(std::move(opened))
        , info(openedInfo) {}

    void destroy(int) override { delete this; }
    int GetNumChannels() override { return info.channels; }
    double GetSampleRate() override { return info.samplerate; }
    double GetLength() override { return static_cast<double>(info.frames) / info.samplerate; }

    void GetSamples(MediaReadBlock *block) override {
        if (!block)
            return;
        block->samplesOut = 0;
        if (!block->samples || block->length < 1 || block->channels < 1 ||
            block->channels > mostMediaChannels ||
            !isConvertible(info.samplerate, block->sampleRate))
            return;
        const double frame = std::max(0.0, std::round(block->time * block->sampleRate));
        // The negation also holds for a time that is no number.
        if (!(frame < std::ceil(GetLength() * block->sampleRate)) || std::isnan(block->time))
            return;
        const ConvertedRead read{block->sampleRate, std::min(block->channels, info.channels),
                                 static_cast<int64_t>(frame)};
        block->samplesOut =
            read.rate == info.samplerate ? readPlain(read, *block) : readConverted(read, *block);
    }

  private:
    int readPlain(const ConvertedRead &read, MediaReadBlock &block) {
        if (!seekTo(read.frame))
            return 0;
        if (block.channels == info.channels)
            return static_cast<int>(readFrames(block.samples, block.length));
        int done = 0;
        while (done < block.length) {
            const int64_t wanted = std::min<int64_t>(blockFrames, block.length - done);
            const int64_t got = readMixed(wanted, read.channels);
            spread(mixed.data(), static_cast<int>(got), read.channels, block, done);
            done += static_cast<int>(got);
            if (got < wanted)
                break;
        }
        return done;
    }

    int readConverted(const ConvertedRead &read, MediaReadBlock &block) {
        if (!continues(read) && !restart(read))
            return 0;
        std::vector<double> &ready = converted;
        int done = 0;
        while (done < block.length) {
            if (queue.frames() == 0 && !fillQueue(read.channels))
                break;
            const auto wanted =
                static_cast<size_t>(std::min<int64_t>(blockFrames, block.length - done));
            ready.resize(wanted * static_cast<size_t>(read.channels));
            const int got = static_cast<int>(queue.take(ready.data(), wanted));
            spread(ready.data(), got, read.channels, block, done);
            done += got;
        }
        present.frame += done;
        return done;
    }

    bool continues(const ConvertedRead &read) const {
        return read.rate == present.rate && read.channels == present.channels &&
               read.frame == present.frame;
    }

    /// Begins a conversion a lead-in ahead of the read, at frames that coincide at both rates, and
    /// drops what comes before it.
    bool restart(const ConvertedRead &read) {
        present = {};
        converter = createFineConverter(info.samplerate, read.rate, read.channels);
        if (!converter)
            return false;
        queue.clear(read.channels);
        inputFrame = 0;
        int64_t skip = read.frame;
        if (const auto grid = rateGrid(info.samplerate, read.rate)) {
            const double lead = leadIn * std::max(1.0, read.rate / info.samplerate);
            const int64_t steps =
                std::max<int64_t>(0, read.frame - static_cast<int64_t>(lead)) / grid->outStep;
            inputFrame = steps * grid->inStep;
            skip -= steps * grid->outStep;
        }
        while (skip > 0) {
            if (queue.frames() == 0 && !fillQueue(read.channels))
                return false;
            skip -= static_cast<int64_t>(queue.take(nullptr, static_cast<size_t>(skip)));
        }
        present = read;
        return true;
    }

    /// Converts until there is something to take; false at the end.
    bool fillQueue(int channels) {
        while (queue.frames() == 0 && converter) {
            if (!seekTo(inputFrame)) {
                converter.reset();
                break;
            }
            const int64_t got = readMixed(blockFrames, channels);
            inputFrame += got;
            converter->push(mixed.data(), static_cast<size_t>(got), queue);
            if (got < blockFrames) {
                converter->finish(queue);
                converter.reset();
            }
        }
        return queue.frames() > 0;
    }

    bool seekTo(int64_t frame) {
        if (position == frame)
            return true;
        const bool isMpeg = (info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG;
        const int64_t start = isMpeg ? std::max<int64_t>(0, frame - mpegLeadIn) : frame;
        position = sf_seek(file.get(), start, SF_SEEK_SET);
        while (position >= 0 && position < frame) {
            const int64_t wanted = std::min(blockFrames, frame - position);
            raw.resize(static_cast<size_t>(wanted * info.channels));
            if (sf_readf_double(file.get(), raw.data(), wanted) != wanted) {
                position = -1;
                return false;
            }
            position += wanted;
        }
        return position == frame;
    }

    /// Reads up to `frames` frames into `mixed`, as `channels` channels; answers how many.
    int64_t readMixed(int64_t frames, int channels) {
        raw.resize(static_cast<size_t>(frames * info.channels));
        mixed.resize(static_cast<size_t>(frames * channels));
        const int64_t got = readFrames(raw.data(), frames);
        for (int64_t n = 0; n < got; ++n)
            mixFrame(raw.data() + n * info.channels, mixed.data() + n * channels, channels);
        return got;
    }

    /// Reads up to `frames` frames as the file has them; answers how many.
    int64_t readFrames(double *out, int64_t frames) {
        const int64_t got = std::max<int64_t>(0, sf_readf_double(file.get(), out, frames));
        position += got;
        std::replace_if(
            out, out + got * info.channels, [](double sample) { return !std::isfinite(sample); },
            0.0);
        return got;
    }

    void mixFrame(const double *in, double *out, int channels) const {
        for (int w = 0; w < channels; ++w) {
            double sum = 0.0;
            int count = 0;
            for (int c = w; c < info.channels; c += channels, ++count)
                sum += in[c];
            out[w] = sum / count;
        }
    }

    /// Writes frames into the block behind the first `done`, repeating channels where it wants
    /// more.
    static void spread(const double *in, int frames, int channels, MediaReadBlock &block,
                       int done) {
        double *out = block.samples + static_cast<std::ptrdiff_t>(done) * block.channels;
        for (int n = 0; n < frames; ++n, in += channels) {
            for (int w = 0; w < block.channels; ++w)
                *out++ = in[w % channels];
        }
    }

    SoundFile file;
    SF_INFO info;
    int64_t position = 0; ///< of the file; negative after a failed seek
    std::vector<double> raw, mixed, converted;

    ConvertedRead present{}; ///< what the conversion gives next; rate 0 without one
    std::unique_ptr<RateConverter> converter; ///< null when the input has ended
    FrameQueue queue;
    int64_t inputFrame = 0; ///< what the conversion reads next
};

/// Opens the file, or tells in `problem` why not.
SoundFile open(const char *path, SF_INFO &info, std::string &problem) {
    if (!path || !*path) {
        problem = "no file name";
        return nullptr;
    }
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        const bool missing = status.type() == std::filesystem::file_type::not_found;
        problem = missing ? "no such file" : error.message();
        return nullptr;
    }
    if (std::filesystem::is_directory(status)) {
        problem = "is a folder";
        return nullptr;
    }
    // A pipe would be waited for, without end when nobody writes.
    if (!std::filesystem::is_regular_file(status)) {
        problem = "not a regular file";
        return nullptr;
    }
    info = {};
    SoundFile file(sf_open(path, SFM_READ, &info));
    if (!file) {
        std::string reason = sf_strerror(nullptr);
        while (!reason.empty() && (reason.back() == '.' || reason.back() == '\n'))
            reason.pop_back();
        problem = "not a media file that can be read (" + reason + ")";
        return nullptr;
    }
    // Ogg files tell their length at their end alone.
    if (info.frames == SF_COUNT_MAX) {
        problem = "truncated: its end, which tells the length, is missing";
        return nullptr;
    }
    if (info.frames < 0 || info.samplerate < 1 || info.channels < 1 ||
        info.channels > mostMediaChannels) {
        problem = "not a media file that can be read (damaged header)";
        return nullptr;
    }
    return file;
}

} // namespace

MediaSource *createMediaSource(const char *path) {
    SF_INFO info{};
    std::string problem;
    SoundFile file = open(path, info, problem);
    return file ? new FileSource(std::move(file), info) : nullptr;
}

std::string mediaProblem(const char *path) {
    SF_INFO info{};
    std::string problem;
    if (open(path, info, problem))
        return info.frames == 0 ? "holds no samples" : "";
    return problem;
}

} // namespace tonvale::workbench
