#include "workbench/services/project_registry.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string_view>

namespace tonvale::workbench {

namespace {

/// Process-wide, written by any thread that loads or ends a stage, guarded by `lock`.
struct Registry {
    std::mutex lock;
    std::vector<ProjectFile> files;
};

Registry &registry() {
    static Registry instance;
    return instance;
}

constexpr size_t longestPath = 65536;

int add(ProjectFile file) {
    Registry &all = registry();
    std::scoped_lock scope(all.lock);
    all.files.push_back(std::move(file));
    return 1;
}

int remove(const ProjectFile &file) {
    Registry &all = registry();
    std::scoped_lock scope(all.lock);
    const auto found =
        std::find_if(all.files.begin(), all.files.end(), [&](const ProjectFile &entry) {
            return entry.file == file.file && entry.project == file.project &&
                   entry.userData == file.userData;
        });
    if (found == all.files.end())
        return 0;
    all.files.erase(found);
    return 1;
}

} // namespace

void *currentProject() {
    static char project;
    return &project;
}

int pluginRegister(const char *name, void *record) {
    if (!name || !record)
        return 0;
    const std::string_view wanted = name;
    const bool adding = wanted == "file_in_project_ex2";
    if (!adding && wanted != "-file_in_project_ex2")
        return 0;
    FileInProjectRecord given;
    std::memcpy(&given, record, sizeof given);
    if (!given.file || !given.project)
        return 0;
    const size_t length = strnlen(given.file, longestPath);
    if (length == 0 || length == longestPath)
        return 0;
    ProjectFile file{{given.file, length}, given.project, given.userData, given.callback};
    return adding ? add(std::move(file)) : remove(file);
}

std::vector<ProjectFile> projectFiles() {
    Registry &all = registry();
    std::scoped_lock scope(all.lock);
    return all.files;
}

bool replaceProjectFile(const ProjectFile &entry, const std::string &path) {
    if (path.empty())
        return false;
    {
        Registry &all = registry();
        std::scoped_lock scope(all.lock);
        const auto found = std::find(all.files.begin(), all.files.end(), entry);
        if (found == all.files.end())
            return false;
        found->file = path;
    }
    if (entry.callback) {
        std::string data = path;
        entry.callback(entry.userData, fileInProjectReplace, data.data());
    }
    return true;
}

} // namespace tonvale::workbench
