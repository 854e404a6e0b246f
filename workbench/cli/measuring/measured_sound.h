#pragma once

#include "host/host_objects.h"

#include <string>
#include <vector>

namespace tonvale::workbench {

/// A sound in memory: channels of one length.
struct MeasuredSound {
    double rate = 0.0; ///< Hz
    std::vector<std::vector<double>> channels;

    size_t length() const { return channels.empty() ? 0 : channels[0].size(); }
};

/// All of a media file, in its own rate and channels; without channels where it can't be opened.
/// Samples that aren't finite read as 0. Throws std::bad_alloc.
MeasuredSound loadSound(const std::string &path);

/// A source that reads `sound`, which must outlive it, in its own rate and channels alone. The
/// caller owns it.
MediaSource *makeSoundSource(const MeasuredSound &sound);

} // namespace tonvale::workbench
