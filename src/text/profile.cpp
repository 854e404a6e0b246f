#include "text/profile.h"

#include "text/number_text.h"
#include "text/wide_text.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <windows.h>

namespace tonvale {

namespace {

constexpr size_t longestText = 1023;
/// A file that is larger is none of settings.
constexpr size_t largestFile = size_t{64} << 20;
constexpr std::string_view wideMark = "\xff\xfe";
constexpr std::string_view narrowMark = "\xef\xbb\xbf"; ///< that some editors put in front
constexpr std::string_view blanks = " \t\r\n";

// The system's own calls for such files go through the code page, and many of those have no room
// for the bytes of UTF-8.

/// The file, held alone while this lives.
class ProfileFile {
  public:
    ProfileFile(const std::string &name, DWORD access, DWORD others, DWORD creation)
        : handle(CreateFileW(wideText(name).c_str(), access, others, nullptr, creation,
                             FILE_ATTRIBUTE_NORMAL, nullptr)) {}
    ~ProfileFile() {
        if (isOpen())
            CloseHandle(handle);
    }
    ProfileFile(const ProfileFile &) = delete;
    ProfileFile &operator=(const ProfileFile &) = delete;

    bool isOpen() const { return handle != INVALID_HANDLE_VALUE; }

    /// False where it can't be read whole.
    bool read(std::string &bytes) const {
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(handle, &size) || static_cast<uint64_t>(size.QuadPart) > largestFile)
            return false;
        bytes.resize(static_cast<size_t>(size.QuadPart));
        DWORD got = 0;
        return ReadFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr) &&
               got == bytes.size();
    }

    /// Puts `bytes` in place of all that stands from `from` on.
    void write(size_t from, std::string_view bytes) const {
        LARGE_INTEGER place{};
        place.QuadPart = static_cast<LONGLONG>(from);
        DWORD written = 0;
        if (SetFilePointerEx(handle, place, nullptr, FILE_BEGIN) &&
            WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
            written == bytes.size())
            SetEndOfFile(handle);
    }

  private:
    HANDLE handle;
};

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == text.npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool isSame(std::string_view name, const std::string &other) {
    return compareIgnoringCase(std::string(name).c_str(), other.c_str()) == 0;
}

std::string_view unquoted(std::string_view text) {
    const bool isQuoted = text.size() > 1 && (text.front() == '"' || text.front() == '\'') &&
                          text.front() == text.back();
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

/// Where a key stands in the bytes of a file, or is to be put.
struct Entry {
    bool hasSection = false;
    size_t begin, end; ///< of its line with the break, or the place for one
    std::string_view text{};
};

Entry findEntry(std::string_view bytes, const std::string &section, const std::string &key) {
    Entry entry{.begin = bytes.size(), .end = bytes.size()};
    bool isInside = false;
    for (size_t at = bytes.starts_with(narrowMark) ? narrowMark.size() : 0; at < bytes.size();) {
        const size_t end = std::min(bytes.find('\n', at), bytes.size() - 1) + 1;
        const std::string_view line = trimmed(bytes.substr(at, end - at));
        // A line without the sign is a key too, and has no text.
        const size_t equals = std::min(line.find('='), line.size());
        const size_t bracket = line.starts_with('[') ? line.find(']') : line.npos;
        if (bracket != line.npos) {
            if (isInside)
                return entry;
            isInside = isSame(trimmed(line.substr(1, bracket - 1)), section);
            entry.hasSection |= isInside;
        } else if (isInside && isSame(trimmed(line.substr(0, equals)), key)) {
            const std::string_view text = line.substr(std::min(equals + 1, line.size()));
            return {true, at, end, unquoted(trimmed(text))};
        }
        // A new line goes below the last one of the section that isn't empty.
        if (isInside && !line.empty())
            entry.begin = entry.end = end;
        at = end;
    }
    return entry;
}

/// `size` bytes of `text` at most, without the half of a character.
std::string_view cut(std::string_view text, size_t size) {
    if (text.size() <= size)
        return text;
    while (size > 0 && (text[size] & 0xC0) == 0x80)
        --size;
    return text.substr(0, size);
}

std::string readWide(const std::string &file, const std::string &section, const std::string &key) {
    std::wstring text(longestText + 1, 0);
    text.resize(GetPrivateProfileStringW(wideText(section).c_str(), wideText(key).c_str(), L"",
                                         text.data(), static_cast<DWORD>(text.size()),
                                         wideText(file).c_str()));
    return utf8Text(text);
}

} // namespace

std::string readProfileText(const std::string &file, const std::string &section,
                            const std::string &key) {
    std::string bytes;
    {
        const ProfileFile profile(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  OPEN_EXISTING);
        if (!profile.isOpen() || !profile.read(bytes))
            return "";
    }
    if (bytes.starts_with(wideMark))
        return std::string(cut(readWide(file, section, key), longestText));
    return std::string(cut(findEntry(bytes, section, key).text, longestText));
}

void writeProfileText(const std::string &file, const std::string &section, const std::string &key,
                      const std::string &text) {
    {
        const ProfileFile profile(file, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_ALWAYS);
        std::string bytes;
        if (!profile.isOpen() || !profile.read(bytes))
            return;
        if (!bytes.starts_with(wideMark)) {
            const Entry entry = findEntry(bytes, section, key);
            std::string tail;
            if (entry.begin > 0 && bytes[entry.begin - 1] != '\n')
                tail = "\r\n";
            if (!entry.hasSection)
                tail += "[" + section + "]\r\n";
            tail += key + "=" + text + "\r\n";
            profile.write(entry.begin, tail.append(bytes, entry.end));
            return;
        }
    }
    WritePrivateProfileStringW(wideText(section).c_str(), wideText(key).c_str(),
                               wideText(text).c_str(), wideText(file).c_str());
}

} // namespace tonvale
