#pragma once

namespace tonvale::workbench {

/// Whether `extension`, without its dot and in any case, belongs to a media file. `zero` is
/// reserved. A null text belongs to none.
bool isMediaExtension(const char *extension, int zero);

/// The filter list of a file chooser: pairs of a label and its patterns, each text with its
/// terminator, and an empty text at the end. Lives as long as the process.
const char *mediaFilterList();

} // namespace tonvale::workbench
