#pragma once

#include "workbench/cli/sound/sound_format.h"

#include <CLI/CLI.hpp>

#include <string>

namespace tonvale::workbench {

/// The options of a command that say how a sound is written.
class FormatOptions {
  public:
    /// Adds --depth and --no-dither. This must stay in its place while `command` parses.
    void addTo(CLI::App &command);

    /// How the output of this name is written. Throws Problem for a name without a known ending,
    /// and for a depth that such a file can't have.
    SoundFormat formatOf(const std::string &outputName) const;

  private:
    std::string depth;
    bool isPlain = false;
};

/// What OUT is, for a command's help.
constexpr const char *outputHelp =
    "The sound to write: .wav, .w64, .flac, .aiff or .aif, or - for a WAV to standard output";

} // namespace tonvale::workbench
