#pragma once

#include "host/host_objects.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tonvale::workbench {

struct MediaSourceEnd {
    void operator()(MediaSource *source) const { source->destroy(1); }
};
using MediaSourceOwner = std::unique_ptr<MediaSource, MediaSourceEnd>;

/// Opens a media file, or throws Problem with what is wrong with it.
MediaSourceOwner openMedia(const std::string &path);

/// The most channels that the plug-in works with.
constexpr int channelLimit = 128;

/// Reads a media file from start to end in its own rate and channels, in constant memory.
class SoundReader {
  public:
    /// Throws Problem when the file can't be opened, holds no samples or has more channels than the
    /// plug-in can work with.
    explicit SoundReader(const std::string &path);

    int channels() const { return channelCount; }
    double sampleRate() const { return rate; }
    /// Length by the file's own word, frames.
    int64_t frames() const { return frameCount; }

    /// Writes the next `frames` samples of each channel into `planes`; silence behind the end.
    void read(double *const *planes, int frames);

  private:
    MediaSourceOwner source;
    int channelCount;
    double rate;
    int64_t frameCount;
    int64_t position = 0;        ///< frames taken from the source
    std::vector<double> pending; ///< interleaved
    int pendingFrames = 0;
    int pendingStart = 0;
    bool ended = false;

    void fetch();
};

} // namespace tonvale::workbench
