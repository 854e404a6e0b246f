#include "workbench/services/path_resolver.h"

#include "text/file_path.h"
#include "workbench/services/user_folders.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace tonvale::workbench {

namespace {

namespace fs = std::filesystem;

bool isFile(const fs::path &path) {
    std::error_code error;
    const auto status = fs::status(path, error);
    return !error && fs::exists(status) && !fs::is_directory(status);
}

bool climbs(const fs::path &path) {
    return std::find(path.begin(), path.end(), "..") != path.end();
}

/// Where `path` would lie below the data folder; empty for a path that would leave it.
fs::path belowDataFolder(const fs::path &path, const char *subfolder) {
    const fs::path inside = filePath(subfolder ? subfolder : "") / path;
    const fs::path base = dataFolder();
    if (base.empty() || inside.is_absolute() || climbs(inside))
        return {};
    return base / inside;
}

fs::path find(const fs::path &path, const char *subfolder) {
    if (isFile(path)) {
        std::error_code error;
        const fs::path full = fs::absolute(path, error);
        return error ? fs::path() : full;
    }
    const fs::path inside = belowDataFolder(path, subfolder);
    return !inside.empty() && isFile(inside) ? inside : fs::path();
}

} // namespace

void resolvePath(const char *path, char *out, int outSize, const char *subfolder) {
    if (!out || outSize < 1)
        return;
    out[0] = 0;
    if (!path || !*path)
        return;
    const std::string found = pathText(find(filePath(path), subfolder));
    if (found.size() < static_cast<size_t>(outSize))
        std::memcpy(out, found.c_str(), found.size() + 1);
}

} // namespace tonvale::workbench
