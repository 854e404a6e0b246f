#pragma once

#include <filesystem>

namespace tonvale::workbench {

// The program's own folders by the XDG base directory rules: the variable where it holds an
// absolute path, else the usual place in the home folder. On Windows, tonvale in %APPDATA%, and
// what is kept for this machine alone in %LOCALAPPDATA%. Read anew at each call. Empty where the
// user has no home.

std::filesystem::path configFolder(); ///< $XDG_CONFIG_HOME/tonvale, ~/.config/tonvale
std::filesystem::path dataFolder();   ///< $XDG_DATA_HOME/tonvale, ~/.local/share/tonvale

} // namespace tonvale::workbench
