#pragma once

#include "host/host_object_ptr.h"
#include "workbench/cli/output_file.h"

#include <cstdint>
#include <string>

namespace tonvale::workbench {

/// Throws Problem for the name of another media format, since what is written is WAV whatever its
/// name says.
void requireWaveName(const std::string &name);

/// Writes a WAV file that appears under its name only when it is complete.
class SoundWriter {
  public:
    /// `depth` is 16, 24, 32 or 64 bits; the rate is rounded to whole Hz, which is all that the
    /// format can hold. `file` must outlive this. Throws Problem.
    SoundWriter(const std::string &name, OutputFile &file, int channels, double sampleRate,
                int depth);

    /// Appends `frames` samples of each plane, which lie at `offset`, `offset` + `spacing` and so
    /// on. Throws Problem on a full disk.
    void write(double **planes, int frames, int offset, int spacing = 1);
    /// Completes the file. Throws Problem.
    void finish();

    /// Prints what was written, and warns on standard error of samples that the format couldn't
    /// hold.
    void report() const;

  private:
    std::string name;
    OutputFile &file;
    int channelCount;
    int rate;
    int depth;
    int64_t frameCount = 0;
    double peak = 0.0;
    bool sawNonFinite = false;
    HostObjectPtr<MediaSink> sink;

    void measure(double *const *planes, int frames, int offset, int spacing);
};

/// "48000 Hz, 2 channels, 1.500 s"
std::string soundShape(double sampleRate, int channels, int64_t frames);

} // namespace tonvale::workbench
