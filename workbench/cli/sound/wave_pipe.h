#pragma once

#include <cstdint>
#include <optional>

namespace tonvale::workbench {

/// What a WAV says ahead of its samples.
struct WaveStart {
    int subtype; ///< libsndfile's, of little-endian samples
    int channels;
    int rate;
    uint32_t speakers;             ///< 0 where none are told
    std::optional<int64_t> frames; ///< nothing where who wrote it didn't know either
};

/// Reads a WAV or RF64 from a pipe up to its first sample, and no byte further. Throws Problem,
/// about `name`, for anything else.
WaveStart readWaveStart(int descriptor, const char *name);

} // namespace tonvale::workbench
