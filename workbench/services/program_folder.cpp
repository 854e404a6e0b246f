#include "workbench/services/program_folder.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace tonvale::workbench {

#ifdef _WIN32

std::filesystem::path programFolder() {
    std::wstring path(32768, 0);
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    path.resize(length < path.size() ? length : 0);
    return std::filesystem::path(path).parent_path();
}

#else

std::filesystem::path programFolder() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

#endif

} // namespace tonvale::workbench
