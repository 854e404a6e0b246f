#pragma once

#include <string>
#include <windows.h>

namespace tonvale::workbench {

/// Writes what a window shows, without its frame, as a PNG file. Throws Problem.
void writePicture(HWND window, const std::string &file);

} // namespace tonvale::workbench
