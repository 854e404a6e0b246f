#include "text/directory_scan.h"

#include "text/file_path.h"

#ifdef _WIN32
#include "text/wide_text.h"

#include <algorithm>
#endif

namespace tonvale {

#ifdef _WIN32

namespace {

/// Paths as long as this, in units of UTF-16, need a prefix that takes their limit away.
constexpr size_t longPath = 256;

/// With the prefix the system takes a path as it stands, so its separators must be its own.
std::wstring withLongPrefix(const std::wstring &path) {
    std::wstring result;
    if (path.starts_with(L"\\\\?\\"))
        return path;
    if (path.starts_with(L"\\\\"))
        result = L"\\\\?\\UNC\\" + path.substr(2);
    else if (path[1] == L':')
        result = L"\\\\?\\" + path;
    else
        return path;
    std::replace(result.begin(), result.end(), L'/', L'\\');
    return result;
}

} // namespace

int DirectoryScan::first(const std::string &folder) {
    close();
    if (folder.empty())
        return 1;
    const bool endsInSeparator = folder.back() == '/' || folder.back() == '\\';
    const std::string pattern = folder.substr(0, folder.size() - endsInSeparator) + "\\*";
    std::wstring wide = wideText(pattern);
    if (wide.size() >= longPath)
        wide = withLongPrefix(wide);
    search = FindFirstFileW(wide.c_str(), &entry);
    isWide = search != INVALID_HANDLE_VALUE;
    return isWide || beginNarrow(pattern) ? 0 : 1;
}

bool DirectoryScan::beginNarrow(const std::string &pattern) {
    WIN32_FIND_DATAA narrow;
    search = FindFirstFileA(pattern.c_str(), &narrow);
    if (search == INVALID_HANDLE_VALUE)
        return false;
    take(narrow);
    return true;
}

void DirectoryScan::take(const WIN32_FIND_DATAA &narrow) {
    entry.dwFileAttributes = narrow.dwFileAttributes;
    MultiByteToWideChar(CP_ACP, 0, narrow.cFileName, -1, entry.cFileName, MAX_PATH);
}

int DirectoryScan::next() {
    if (isWide)
        return FindNextFileW(search, &entry) ? 0 : 1;
    WIN32_FIND_DATAA narrow;
    if (!FindNextFileA(search, &narrow))
        return 1;
    take(narrow);
    return 0;
}

std::string DirectoryScan::name() const {
    return utf8Text(entry.cFileName);
}

bool DirectoryScan::isDirectory() const {
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void DirectoryScan::close() {
    if (search != INVALID_HANDLE_VALUE)
        FindClose(search);
    search = INVALID_HANDLE_VALUE;
    entry = {};
}

#else

namespace {

const std::filesystem::directory_iterator end;

} // namespace

int DirectoryScan::first(const std::string &folder) {
    std::error_code error;
    entry = std::filesystem::directory_iterator(filePath(folder), error);
    return entry == end ? 1 : 0;
}

int DirectoryScan::next() {
    std::error_code error;
    if (entry != end)
        entry.increment(error);
    return entry == end ? 1 : 0;
}

std::string DirectoryScan::name() const {
    return entry == end ? "" : pathText(entry->path().filename());
}

bool DirectoryScan::isDirectory() const {
    std::error_code error;
    return entry != end && entry->is_directory(error);
}

void DirectoryScan::close() {
    entry = end;
}

#endif

} // namespace tonvale
