#pragma once

#include "host/host_objects.h"

#include <string>

namespace tonvale::workbench {

/// The most channels that a media file, or a conversion of its rate, can have.
constexpr int mostMediaChannels = 1024;

/// A source on a media file (UTF-8 path) that the caller owns, or null.
MediaSource *createMediaSource(const char *path);

/// Why createMediaSource can't open `path`, as part of a line for a user: "no such file".
std::string mediaProblem(const char *path);

/// A sink that writes a WAV file, or null. `format` is a WaveFormatBlock of `formatSize` bytes.
MediaSink *createMediaSink(const char *path, const void *format, int formatSize, int channels,
                           int rate, int zero);

/// Whether a sink of createMediaSink lost samples so far, as on a full disk or beyond the 4 GiB
/// that a WAV file can hold.
bool mediaSinkFailed(const MediaSink *sink);

} // namespace tonvale::workbench
