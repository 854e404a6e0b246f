#include "workbench/cli/sound/sound_container.h"

#include "workbench/cli/problem.h"
#include "workbench/cli/sound/speakers.h"
#include "workbench/cli/sound/wave_header.h"

#include <sndfile.h>
#include <vector>

namespace tonvale::workbench {

namespace {

/// A WAV or W64 file, which only ever needs to be appended to where its length is known before.
class WaveFile final : public SoundContainer {
  public:
    WaveFile(const SoundFormat &soundFormat, const SoundShape &soundShape, OutputFile &outputFile)
        : format(soundFormat)
        , shape(soundShape)
        , file(outputFile)
        , hasRoom(shape.mayBeLarge && !shape.frames && file.isRewritable()) {
        const std::string header = waveHeader(format, shape, hasRoom);
        headerSize = header.size();
        file.write(header.data(), headerSize);
    }

    void write(const void *numbers, int frames) override {
        const size_t count = static_cast<size_t>(frames) * static_cast<size_t>(shape.channels);
        if (format.depth == 24) {
            pack(static_cast<const char *>(numbers), count);
            file.write(packed);
        } else {
            file.write(numbers, count * static_cast<size_t>(format.depth / 8));
        }
        written += frames;
    }

    void finish() override {
        const char zeros[8] = {};
        file.write(zeros, static_cast<size_t>(wavePadding(format, shape, written)));
        if (written == shape.frames || !file.isRewritable())
            return;
        shape.frames = written;
        const std::string header = waveHeader(format, shape, hasRoom);
        // What promised more than 4 GiB and was less has the room that RF64 took.
        const std::string roomy = waveHeader(format, shape, true);
        const std::string &fitting = header.size() == headerSize ? header : roomy;
        if (fitting.size() != headerSize)
            throw Problem(file.shownName() + ": came out larger than a WAV file can be");
        file.rewriteStart(fitting.data(), fitting.size());
    }

  private:
    SoundFormat format;
    SoundShape shape;
    OutputFile &file;
    bool hasRoom;
    size_t headerSize = 0;
    int64_t written = 0; ///< frames
    std::vector<char> packed;

    /// The upper three bytes of each number.
    void pack(const char *numbers, size_t count) {
        packed.resize(3 * count);
        char *out = packed.data();
        for (size_t i = 0; i < count; ++i, numbers += 4, out += 3) {
            out[0] = numbers[1];
            out[1] = numbers[2];
            out[2] = numbers[3];
        }
    }
};

struct LibraryFormat {
    int depth;
    int subtype;
    sf_count_t (*write)(SNDFILE *file, const void *numbers, sf_count_t frames);
};

template <class Number, sf_count_t (*write)(SNDFILE *, const Number *, sf_count_t)>
sf_count_t writeNumbers(SNDFILE *file, const void *numbers, sf_count_t frames) {
    return write(file, static_cast<const Number *>(numbers), frames);
}

constexpr LibraryFormat libraryFormats[] = {
    {16, SF_FORMAT_PCM_16, writeNumbers<short, sf_writef_short>},
    {24, SF_FORMAT_PCM_24, writeNumbers<int, sf_writef_int>},
    {32, SF_FORMAT_FLOAT, writeNumbers<float, sf_writef_float>},
    {64, SF_FORMAT_DOUBLE, writeNumbers<double, sf_writef_double>},
};

/// FLAC and AIFF, as libsndfile writes them.
class LibraryFile final : public SoundContainer {
  public:
    LibraryFile(const SoundFormat &format, const SoundShape &shape, OutputFile &outputFile)
        : file(outputFile) {
        for (const LibraryFormat &known : libraryFormats) {
            if (known.depth == format.depth)
                chosen = &known;
        }
        SF_INFO info{};
        info.channels = shape.channels;
        info.samplerate = shape.rate;
        info.format = chosen->subtype |
                      (format.container == Container::flac ? SF_FORMAT_FLAC : SF_FORMAT_AIFF);
        opened.reset(sf_open(file.temporaryPath().c_str(), SFM_WRITE, &info));
        if (!opened)
            fail(sf_strerror(nullptr));
        // The peak chunk holds the time of day: equal sounds shall make equal files.
        sf_command(opened.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
        tellSpeakers(opened.get(), shape);
    }

    void write(const void *numbers, int frames) override {
        if (chosen->write(opened.get(), numbers, frames) != frames)
            fail(sf_strerror(opened.get()));
    }

    void finish() override {
        if (const int error = sf_close(opened.release()); error != 0)
            fail(sf_error_number(error));
    }

  private:
    struct Close {
        void operator()(SNDFILE *closed) const { sf_close(closed); }
    };

    OutputFile &file;
    const LibraryFormat *chosen = nullptr;
    std::unique_ptr<SNDFILE, Close> opened;

    [[noreturn]] void fail(const char *reason) const {
        throw Problem(file.shownName() + ": can't be written (" + reason + ")");
    }
};

} // namespace

std::unique_ptr<SoundContainer> makeSoundContainer(const SoundFormat &format,
                                                   const SoundShape &shape, OutputFile &file) {
    requireFitting(file.shownName(), format, shape);
    if (format.container == Container::wave || format.container == Container::wave64)
        return std::make_unique<WaveFile>(format, shape, file);
    return std::make_unique<LibraryFile>(format, shape, file);
}

} // namespace tonvale::workbench
