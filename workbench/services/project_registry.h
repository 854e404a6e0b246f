#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tonvale::workbench {

using FileInProjectCallback = intptr_t (*)(void *stage, int message, void *data);

/// The message by which a registration's callback is given a new path.
constexpr int fileInProjectReplace = 0;

/// What plugin_register takes under the name "file_in_project_ex2".
struct FileInProjectRecord {
    const char *file; ///< UTF-8, copied
    void *project;
    void *userData;
    FileInProjectCallback callback;
};
static_assert(sizeof(FileInProjectRecord) == 4 * sizeof(void *));

/// A file that the project uses.
struct ProjectFile {
    std::string file;
    void *project;
    void *userData;
    FileInProjectCallback callback;

    bool operator==(const ProjectFile &) const = default;
};

/// The one project of this process. Never null.
void *currentProject();

/// Adds a FileInProjectRecord under "file_in_project_ex2"; under "-file_in_project_ex2" removes one
/// that has the same file, project and user data. 1 on success; 0 for any other name, for a record
/// without a file or a project, and where nothing matches. Any thread.
int pluginRegister(const char *name, void *record);

/// What is registered at this moment, in order of registration. Any thread.
std::vector<ProjectFile> projectFiles();

/// Tells the owner of a registration that its file is now `path`, and registers that path in place
/// of the old one, since the owner doesn't register it anew. False for an empty path, and where
/// `entry` isn't registered (any more). The callback runs without a lock; call it on the thread
/// that owns the stages, since a stage must not go away meanwhile.
bool replaceProjectFile(const ProjectFile &entry, const std::string &path);

} // namespace tonvale::workbench
