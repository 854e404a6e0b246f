#include "text/profile.h"

#include "text/wide_text.h"

#include <windows.h>

namespace tonvale {

namespace {

constexpr size_t longestText = 1024;
/// Bytes that a unit of UTF-16 can take in any code page.
constexpr size_t mostBytes = 3;

// The wide calls write the file in the code page, so what they are given is the bytes of UTF-8,
// each taken for a character of that code page. The narrow calls do just this too, but with the
// file's name as well.

std::wstring fromBytes(const std::string &bytes) {
    const int size = static_cast<int>(bytes.size());
    std::wstring wide(bytes.size(), 0);
    wide.resize(
        static_cast<size_t>(MultiByteToWideChar(CP_ACP, 0, bytes.data(), size, wide.data(), size)));
    return wide;
}

std::string toBytes(const std::wstring &wide) {
    std::string bytes(mostBytes * wide.size(), 0);
    bytes.resize(static_cast<size_t>(
        WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

} // namespace

std::string readProfileText(const std::string &file, const std::string &section,
                            const std::string &key) {
    std::wstring text(longestText, 0);
    text.resize(GetPrivateProfileStringW(fromBytes(section).c_str(), fromBytes(key).c_str(), L"",
                                         text.data(), static_cast<DWORD>(text.size()),
                                         wideText(file).c_str()));
    return toBytes(text).substr(0, longestText - 1);
}

void writeProfileText(const std::string &file, const std::string &section, const std::string &key,
                      const std::string &text) {
    WritePrivateProfileStringW(fromBytes(section).c_str(), fromBytes(key).c_str(),
                               fromBytes(text).c_str(), wideText(file).c_str());
}

} // namespace tonvale
