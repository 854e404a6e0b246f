#pragma once

#include <string>

namespace tonvale::workbench {

/// Warns where the media file of this name holds fewer samples than its header promises: readers
/// of a file that was cut take what is left for all of it. Lengths of 0 and from 0x7ffff000 on are
/// no promise: programs that write to a pipe put them where they don't know better. A file that
/// can't be opened is left to whoever reads it.
void warnOfTruncation(const std::string &path);

/// The same warning, for whoever sees the end come too early.
void warnTruncated(const std::string &shownName);

} // namespace tonvale::workbench
