#pragma once

#include "host/host_object_ptr.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tonvale::workbench {

/// Opens a media file, or throws Problem with what is wrong with it.
HostObjectPtr<MediaSource> openMedia(const std::string &path);

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
    HostObjectPtr<MediaSource> source;
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
