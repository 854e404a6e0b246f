#pragma once

#include "host/host_objects.h"
#include "workbench/cli/output_file.h"

#include <cstdint>
#include <memory>
#include <string>

namespace tonvale::workbench {

/// The file at `name` as it would be written would be WAV whatever its name says; throws Problem
/// for the name of another media format.
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

    /// "48000 Hz, 2 channels, 1.500 s, 32-bit, peak -3.0 dBFS"
    std::string description() const;
    /// Warns on standard error of samples that the format couldn't hold.
    void warnOfLoss() const;

  private:
    struct SinkEnd {
        void operator()(MediaSink *sink) const { sink->destroy(1); }
    };

    std::string name;
    OutputFile &file;
    int channelCount;
    int rate;
    int depth;
    int64_t frameCount = 0;
    double peak = 0.0;
    bool sawNonFinite = false;
    std::unique_ptr<MediaSink, SinkEnd> sink;

    void measure(double *const *planes, int frames, int offset, int spacing);
};

/// "48000 Hz, 2 channels, 1.500 s"
std::string soundShape(double sampleRate, int channels, int64_t frames);

/// A level as "-3.0 dBFS", "-inf dBFS" for silence.
std::string levelText(double peak);

} // namespace tonvale::workbench
