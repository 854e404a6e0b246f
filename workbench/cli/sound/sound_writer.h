#pragma once

#include "workbench/cli/output_file.h"
#include "workbench/cli/sound/sample_coder.h"
#include "workbench/cli/sound/sound_container.h"
#include "workbench/cli/sound/sound_format.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tonvale::workbench {

/// Writes a sound to a file, and knows what became of it.
class SoundWriter {
  public:
    /// `file` must outlive this. Throws Problem for a sound that such a file can't hold.
    SoundWriter(OutputFile &file, const SoundFormat &format, const SoundShape &shape);

    /// Appends `frames` samples of each plane, which lie at `offset`, `offset` + `spacing` and so
    /// on. Throws Problem on a full disk.
    void write(const double *const *planes, int frames, int offset, int spacing = 1);
    /// Completes the file, which is still to be committed, and warns of samples that the format
    /// couldn't hold. Throws Problem.
    void finish();

    int64_t frames() const { return frameCount; }
    /// Prints what was written.
    void report() const;

  private:
    OutputFile &file;
    SoundFormat format;
    SoundShape shape;
    SampleCoder coder;
    std::unique_ptr<SoundContainer> container;
    int64_t frameCount = 0;
};

/// The shape of a sound whose rate is rounded to whole Hz.
SoundShape shapeOf(double sampleRate, int channels);

/// "48000 Hz, 2 channels, 1.500 s", without the length where it isn't known
std::string soundShape(double sampleRate, int channels, std::optional<int64_t> frames);

} // namespace tonvale::workbench
