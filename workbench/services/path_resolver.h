#pragma once

namespace tonvale::workbench {

/// Finds a file (UTF-8 path): as given, absolute or from the working folder, else, when relative,
/// in `subfolder` of the user's data folder. `out`, of `outSize` bytes, becomes the absolute path
/// with its terminator, or empty where there is no such file or no room for all of it.
void resolvePath(const char *path, char *out, int outSize, const char *subfolder);

} // namespace tonvale::workbench
