#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tonvale {

// Between UTF-8 and the paths of the standard library, which are wide on some systems and take a
// narrow text for one of the code page. A text that isn't valid gives a path to no file.

std::filesystem::path filePath(std::string_view text);
std::string pathText(const std::filesystem::path &path);

} // namespace tonvale
