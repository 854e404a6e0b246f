#pragma once

#include "workbench/cli/output_file.h"
#include "workbench/cli/sound/sound_format.h"

#include <memory>

namespace tonvale::workbench {

/// A file of sound that takes the numbers of a SampleCoder.
class SoundContainer {
  public:
    virtual ~SoundContainer() = default;
    /// Throws Problem on a full disk or a closed pipe.
    virtual void write(const void *numbers, int frames) = 0;
    /// Completes the file. Throws Problem.
    virtual void finish() = 0;
};

/// A container of `format` that writes to `file`, which must outlive it. Throws Problem for a sound
/// that such a file can't hold.
std::unique_ptr<SoundContainer> makeSoundContainer(const SoundFormat &format,
                                                   const SoundShape &shape, OutputFile &file);

} // namespace tonvale::workbench
