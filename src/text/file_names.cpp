#include "text/file_names.h"

#include "text/wide_text.h"

namespace tonvale {

std::vector<std::string> droppedNames(HDROP drop) {
    constexpr UINT all = 0xFFFFFFFF;
    std::vector<std::string> names;
    const UINT count = DragQueryFileW(drop, all, nullptr, 0);
    for (UINT i = 0; i < count; ++i) {
        std::wstring name(DragQueryFileW(drop, i, nullptr, 0), 0);
        DragQueryFileW(drop, i, name.data(), static_cast<UINT>(name.size()) + 1);
        names.push_back(utf8Text(name));
    }
    return names;
}

std::string currentDirectory() {
    std::wstring folder(GetCurrentDirectoryW(0, nullptr), 0);
    // Another thread may go to a longer one meanwhile; the answer is then the room that it takes.
    const DWORD length = GetCurrentDirectoryW(static_cast<DWORD>(folder.size()), folder.data());
    return length < folder.size() ? utf8Text({folder.data(), length}) : "";
}

void setCurrentDirectory(const std::string &folder) {
    SetCurrentDirectoryW(wideText(folder).c_str());
}

} // namespace tonvale
