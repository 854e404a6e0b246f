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
/// Warns of a truncated file, and of samples that aren't finite, which read as 0. Throws
/// Problem, std::bad_alloc.
MeasuredSound loadSound(const std::string &path);

/// The channel with the most energy, of one or more.
size_t loudestChannel(const MeasuredSound &sound);

/// A channel by itself, modulo their count.
MeasuredSound channelOf(const MeasuredSound &sound, size_t channel);

/// A source that reads `sound`, which must outlive it, in its own rate and channels alone. The
/// caller owns it.
MediaSource *makeSoundSource(const MeasuredSound &sound);

} // namespace tonvale::workbench
