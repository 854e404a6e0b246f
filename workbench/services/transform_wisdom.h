#pragma once

#include <string>

namespace tonvale::workbench {

// What planning the transforms found out about this machine, kept in the user's cache folder.

/// What is kept; empty where there is nothing, nothing that can be read, or something other than
/// what writeWisdom wrote.
std::string readWisdom();

/// Keeps `wisdom` for later processes: they see either what was there before or all of it. Nothing
/// happens where the folder can't be written.
void writeWisdom(const std::string &wisdom);

} // namespace tonvale::workbench
