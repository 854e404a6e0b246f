#include "workbench/services/settings_file.h"

#include "text/file_path.h"
#include "workbench/services/user_folders.h"

#include <string>

namespace tonvale::workbench {

namespace {

std::string makeSettingsFolder() {
    const auto folder = configFolder();
    if (folder.empty())
        return {};
    // A folder that can't be made shows when the settings are written, and is no reason to have
    // none.
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    return pathText(folder / "tonvale.ini");
}

} // namespace

const char *settingsFile() {
    static const std::string path = makeSettingsFolder();
    return path.c_str();
}

} // namespace tonvale::workbench
