#pragma once

#include <filesystem>

namespace tonvale::workbench {

/// Where the running program lies, and with it what belongs to it. Empty where the system doesn't
/// tell.
std::filesystem::path programFolder();

} // namespace tonvale::workbench
