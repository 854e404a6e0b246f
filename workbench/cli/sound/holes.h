#pragma once

#include <span>
#include <string>

namespace tonvale::workbench {

/// Makes samples that aren't finite 0. Answers whether there was one.
bool fillHoles(std::span<double> samples);

/// Warns of such samples in the sound of this name.
void warnOfHoles(const std::string &shownName);

/// Warns where a response's file holds such samples; others read it as 0 there without a word. One
/// that can't be opened is left to whoever reads it.
void warnOfHolesIn(const std::string &path);

} // namespace tonvale::workbench
