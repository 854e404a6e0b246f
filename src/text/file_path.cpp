#include "text/file_path.h"

#ifdef _WIN32
#include "text/wide_text.h"
#endif

namespace tonvale {

#ifdef _WIN32

std::filesystem::path filePath(std::string_view text) {
    return wideText(text);
}

std::string pathText(const std::filesystem::path &path) {
    return utf8Text(path.native());
}

#else

std::filesystem::path filePath(std::string_view text) {
    return text;
}

std::string pathText(const std::filesystem::path &path) {
    return path.native();
}

#endif

} // namespace tonvale
