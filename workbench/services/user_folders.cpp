#include "workbench/services/user_folders.h"

#include <cstdlib>

#ifndef _WIN32
#include <array>
#include <pwd.h>
#include <unistd.h>
#endif

namespace tonvale::workbench {

#ifdef _WIN32

namespace {

std::filesystem::path programFolder(const wchar_t *variable) {
    const wchar_t *base = _wgetenv(variable);
    return base && *base ? std::filesystem::path(base) / "tonvale" : std::filesystem::path();
}

} // namespace

std::filesystem::path configFolder() {
    return programFolder(L"APPDATA");
}
std::filesystem::path cacheFolder() {
    return programFolder(L"LOCALAPPDATA");
}
std::filesystem::path dataFolder() {
    return programFolder(L"APPDATA");
}

#else

namespace {

std::filesystem::path absoluteFromEnvironment(const char *variable) {
    const char *value = std::getenv(variable);
    if (!value || value[0] != '/')
        return {};
    return value;
}

std::filesystem::path homeFolder() {
    if (auto home = absoluteFromEnvironment("HOME"); !home.empty())
        return home;
    passwd entry{};
    passwd *found = nullptr;
    std::array<char, 16384> room;
    if (getpwuid_r(getuid(), &entry, room.data(), room.size(), &found) != 0 || !found)
        return {};
    return found->pw_dir ? found->pw_dir : "";
}

std::filesystem::path programFolder(const char *variable, const char *usualPlace) {
    if (auto base = absoluteFromEnvironment(variable); !base.empty())
        return base / "tonvale";
    const auto home = homeFolder();
    return home.empty() ? home : home / usualPlace / "tonvale";
}

} // namespace

std::filesystem::path configFolder() {
    return programFolder("XDG_CONFIG_HOME", ".config");
}
std::filesystem::path dataFolder() {
    return programFolder("XDG_DATA_HOME", ".local/share");
}

#endif

} // namespace tonvale::workbench
