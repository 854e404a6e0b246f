#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <sndfile.h>
#include <string>
#include <vector>

namespace tonvale::workbench {

/// Reads a media file, or a WAV from standard input ("-"), from start to end in its own rate and
/// channels, in constant memory. Samples that aren't finite read as 0, with a warning. One thread
/// at a time.
class Recording {
  public:
    /// Throws Problem when it can't be opened, holds no samples or has more channels than the
    /// plug-in can work with.
    explicit Recording(const std::string &path);

    const std::string &shownName() const { return name; }
    int channels() const { return channelCount; }
    double sampleRate() const { return rate; }
    /// The speakers of its channels, as a mask of WAV files; 0 where it tells none.
    uint32_t speakers() const { return speakerMask; }
    /// Its length by its own word, frames; nothing where a pipe doesn't tell.
    std::optional<int64_t> frames() const { return promised; }

    /// Writes the next samples of each channel into `planes` and answers how many: fewer than
    /// `count` at the end only. Throws Problem where there was none at all.
    int read(double *const *planes, int count);

    /// What is left of each channel. Throws Problem where that is more than `mostSamples` in all.
    std::vector<std::vector<double>> readAll(size_t mostSamples);

  private:
    struct Close {
        void operator()(SNDFILE *file) const { sf_close(file); }
    };

    std::string name;
    std::unique_ptr<SNDFILE, Close> file;
    int channelCount = 0;
    double rate = 0.0;
    uint32_t speakerMask = 0;
    std::optional<int64_t> promised;
    int64_t position = 0;      ///< frames
    bool hasShorts = false;    ///< 16 bits a sample
    std::vector<short> shorts; ///< interleaved, as are the others
    std::vector<double> doubles;

    void open(const std::string &path);
    void openStandardInput();
    void takeOver(SNDFILE *opened, const SF_INFO &info);
};

} // namespace tonvale::workbench
