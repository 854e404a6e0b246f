#pragma once

#include <string>
#include <string_view>

namespace tonvale {

// Between UTF-8 and the wide texts of the system's calls. What isn't valid on one side becomes
// U+FFFD on the other. Any thread.

std::wstring wideText(std::string_view text);
std::string utf8Text(std::wstring_view text);

} // namespace tonvale
