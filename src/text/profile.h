#pragma once

#include <string>

namespace tonvale {

// The host's settings file, by the system's calls for it. Texts are UTF-8, and so they stand in the
// file, where the host reads them. On the thread of the user interface.

/// The text of `key` in [section] of `file`, up to 1023 bytes; empty where there is none.
std::string readProfileText(const std::string &file, const std::string &section,
                            const std::string &key);
/// Nothing happens where the file can't be written.
void writeProfileText(const std::string &file, const std::string &section, const std::string &key,
                      const std::string &text);

} // namespace tonvale
