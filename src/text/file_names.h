#pragma once

#include <string>
#include <vector>
#include <windows.h>

// The system's header for them has macros of its own.
#include <shellapi.h>

namespace tonvale {

/// The paths of the files in a drop, as UTF-8 and in the system's order. The drop stays the
/// caller's.
std::vector<std::string> droppedNames(HDROP drop);

/// The process's current directory as UTF-8, empty where it can't be told.
std::string currentDirectory();
/// Nothing happens for a folder that isn't there.
void setCurrentDirectory(const std::string &folder);

} // namespace tonvale
