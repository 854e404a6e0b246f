#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tonvale::workbench {

/// What a sound is written in. WAV has the shape RF64 where plain WAV can't hold it.
enum class Container { wave, wave64, flac, aiff };

/// How a sound is written.
struct SoundFormat {
    Container container = Container::wave;
    int depth = 32; ///< bits: 16 or 24 as whole numbers, 32 or 64 as floating point
    bool dither = true;

    bool isFloat() const { return depth > 24; }
};

/// The shape of a sound that is to be written.
struct SoundShape {
    int channels = 1;
    int rate = 1; ///< whole Hz, which is all that files can hold
    /// A bit for each channel, as in WAV files, in the order of the channels; 0 where no speakers
    /// are told.
    uint32_t speakers = 0;
    std::optional<int64_t> frames; ///< where that is known before the first is there
    bool mayBeLarge = false;       ///< a length that isn't known may pass 4 GiB
};

/// The container that the ending of `name` stands for; WAV for a pipe. Throws Problem for a name
/// with another ending or none.
Container containerOf(const std::string &name);

/// "wav", "w64", "flac", "aiff"
const char *endingOf(Container container);

/// Throws Problem, about `name`, for a sound that such a file can't hold.
void requireFitting(const std::string &name, const SoundFormat &format, const SoundShape &shape);

} // namespace tonvale::workbench
