#include "text/wide_text.h"

#include <algorithm>
#include <climits>
#include <windows.h>

namespace tonvale {

namespace {

/// Texts are cut there, so that sizes stay integers on both sides.
constexpr size_t longestText = INT_MAX / 4;
/// Bytes that a unit of UTF-16 can take in UTF-8.
constexpr size_t mostBytes = 3;

} // namespace

std::wstring wideText(std::string_view text) {
    const std::string_view taken = text.substr(0, longestText);
    const int size = static_cast<int>(taken.size());
    std::wstring wide(taken.size(), 0);
    wide.resize(static_cast<size_t>(
        MultiByteToWideChar(CP_UTF8, 0, taken.data(), size, wide.data(), size)));
    return wide;
}

std::string utf8Text(std::wstring_view text) {
    const std::wstring_view taken = text.substr(0, longestText / mostBytes);
    std::string narrow(mostBytes * taken.size(), 0);
    narrow.resize(static_cast<size_t>(
        WideCharToMultiByte(CP_UTF8, 0, taken.data(), static_cast<int>(taken.size()), narrow.data(),
                            static_cast<int>(narrow.size()), nullptr, nullptr)));
    return narrow;
}

} // namespace tonvale
