#pragma once

#include <string>

#ifdef _WIN32
#include <windows.h>
#else
#include <filesystem>
#endif

namespace tonvale {

/// Reads the entries of a folder, one after the other, in the system's order. One thread at a time.
class DirectoryScan {
  public:
    DirectoryScan() = default;
    ~DirectoryScan() { close(); }
    DirectoryScan(const DirectoryScan &) = delete;
    DirectoryScan &operator=(const DirectoryScan &) = delete;

    /// Begins with `folder`, a UTF-8 path of any length. 0 when it has a first entry; otherwise,
    /// and for an empty text, there is none.
    int first(const std::string &folder);
    /// Goes on to the next entry. Non-zero at the end.
    int next();
    /// The present entry's name, UTF-8.
    std::string name() const;
    bool isDirectory() const;
    void close();

  private:
#ifdef _WIN32
    bool beginNarrow(const std::string &pattern);
    void take(const WIN32_FIND_DATAA &narrow);

    HANDLE search = INVALID_HANDLE_VALUE;
    bool isWide = true; ///< else the folder's text is one of the code page
    WIN32_FIND_DATAW entry{};
#else
    std::filesystem::directory_iterator entry;
#endif
};

} // namespace tonvale
