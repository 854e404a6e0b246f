#pragma once

#include "workbench/cli/output_file.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/rendering/renderer.h"

#include <mutex>
#include <string>

namespace tonvale::workbench {

/// The file of the plug-in's state: its content is there before anything is rendered, and its name
/// before any output has one. Any thread.
class StateFile {
  public:
    explicit StateFile(const std::string &name)
        : file(name) {}

    void write(const std::vector<char> &bytes) { file.write(bytes); }
    void commit();

  private:
    OutputFile file;
    std::once_flag committed;
};

/// One recording on its way to one output.
struct RenderJob {
    Recording recording;
    OutputFile &file;
    SoundFormat format;
    StateFile *state; ///< null for none
};

/// Renders the recording and gives the files their names. `describe` is called before rendering
/// begins. Answers the writer, for its report. Throws Problem; then the output is as it was.
std::unique_ptr<SoundWriter> renderJob(Renderer &renderer, RenderJob &job,
                                       const Renderer::Describe &describe, ProgressBar &bar);

} // namespace tonvale::workbench
