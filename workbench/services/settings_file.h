#pragma once

namespace tonvale::workbench {

/// The path of the settings file, in the user's configuration folder, which is made at the first
/// call. The text lives as long as the process; it is empty where the user has no home. Any thread.
const char *settingsFile();

} // namespace tonvale::workbench
