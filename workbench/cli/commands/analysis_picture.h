#pragma once

#include "workbench/cli/commands/analysis_report.h"
#include "workbench/cli/output_file.h"

namespace tonvale::workbench {

/// Writes a PNG: level over time with the decays' lines and the noise floors, of up to two
/// channels; a spectrogram of the first; and reverberation times over bands, of up to two. Throws
/// Problem where it can't be written.
void drawPicture(const ResponseFile &response, OutputFile &output);

} // namespace tonvale::workbench
