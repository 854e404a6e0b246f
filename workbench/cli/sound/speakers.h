#pragma once

#include "workbench/cli/sound/sound_format.h"

#include <sndfile.h>

namespace tonvale::workbench {

/// The speakers that an open file tells for its channels, as a mask of WAV files; 0 where it tells
/// none, or such that a mask can't say.
uint32_t toldSpeakers(SNDFILE *file, int channels);

/// Tells a file that is to be written the speakers of the shape, where there are some and its
/// format can hold them.
void tellSpeakers(SNDFILE *file, const SoundShape &shape);

} // namespace tonvale::workbench
