#pragma once

#include "host/host_objects.h"
#include "measure/measure_outcome.h"
#include "workbench/cli/output_file.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/sound/sound_writer.h"

#include <memory>
#include <optional>
#include <string>

namespace tonvale::workbench {

/// The host in which the measurement functions run: the workbench's own, but that the one file
/// that they write goes through a SoundWriter, so that a full disk shows and what was written can
/// be told. One at a time.
class MeasuringHost {
  public:
    /// The file to come is called `outputName` and has `frames` frames, where that is known. Throws
    /// Problem where no such file may be made.
    MeasuringHost(const std::string &outputName, const SoundFormat &format,
                  std::optional<int64_t> frames = std::nullopt);
    ~MeasuringHost();
    MeasuringHost(const MeasuringHost &) = delete;
    MeasuringHost &operator=(const MeasuringHost &) = delete;

    /// Where the function shall write to. Writing throws Problem when the disk is full.
    std::string path() const { return file.temporaryPath(); }
    /// Shows the share of the work that is done.
    MeasureProgress progress(ProgressBar &bar) const;
    static constexpr int progressSteps = 1000;

    /// Completes the file after a run that ended with `outcome`, and prints what was written.
    /// Throws Problem when the run failed, about `subject`, the file that such a failure is about.
    void finish(MeasureOutcome outcome, const std::string &subject);

  private:
    static MediaSink *createSink(const char *path, const void *format, int formatSize, int channels,
                                 int rate, int zero);

    SoundFormat format;
    std::optional<int64_t> frameCount;
    OutputFile file;
    std::unique_ptr<SoundWriter> writer;
};

} // namespace tonvale::workbench
