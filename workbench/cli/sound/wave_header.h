#pragma once

#include "workbench/cli/sound/sound_format.h"

#include <cstdint>
#include <string>

namespace tonvale::workbench {

/// All that stands before the samples of a WAV or W64 file.
///
/// A WAV is plain RIFF, or RF64 (EBU Tech 3306) where RIFF's 32 bits can't count the file's bytes.
/// Without a length the sizes are the largest there are. With `hasRoom` the header is as long for
/// any length.
std::string waveHeader(const SoundFormat &format, const SoundShape &shape, bool hasRoom);

/// The bytes that fill the file up behind its samples: chunks are even in WAV. Those of W64 are
/// multiples of eight, but the last one, which readers would take to be longer.
int wavePadding(const SoundFormat &format, const SoundShape &shape, int64_t frames);

} // namespace tonvale::workbench
