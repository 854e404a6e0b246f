#pragma once

#include <string>

namespace tonvale {

// The host's settings file: lines of "key=text" below a "[section]". Texts are UTF-8, and so they
// stand in the file, where the host reads them; in a file of UTF-16 they stand as that. Names are
// compared without regard to ASCII case. On the thread of the user interface.

/// The text of `key` in [section] of `file`, without blanks and quotes around it, up to 1023 bytes;
/// empty where there is none.
std::string readProfileText(const std::string &file, const std::string &section,
                            const std::string &key);
/// Makes the file, the section and the key where they are missing. Nothing happens where the file
/// can't be written.
void writeProfileText(const std::string &file, const std::string &section, const std::string &key,
                      const std::string &text);

} // namespace tonvale
