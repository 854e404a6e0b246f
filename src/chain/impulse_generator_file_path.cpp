#include "chain/impulse_generator_file.h"

#include "chain/stage_owner.h"
#include "chain/window_messages.h"
#include "host/host_functions.h"
#include "text/number_text.h"

#include <cstring>
#include <new>
#include <utility>

// The path of the File stage: its saved forms, how the host resolves it, and the host's project
// that knows of it.

namespace tonvale {

namespace {

constexpr int32_t resolvedSize = 2048;
constexpr const char *pathFolder = "impulses";
constexpr const char *registerAction = "file_in_project_ex2";
constexpr const char *unregisterAction = "-file_in_project_ex2";

/// What the host is told of a file that its project uses.
struct FileInProjectRecord {
    const char *file;
    intptr_t project;
    void *userData;
    intptr_t (*callback)(void *stage, int message, void *data);
};
static_assert(sizeof(FileInProjectRecord) == 4 * sizeof(void *));

/// What the host says to the callback of that record.
enum FileInProjectMessage {
    fileRenamed = 0,
    fileSubfolder = 256,
    fileContext = 257,
    filePlugInName = 259,
};

intptr_t textAnswer(const char *text) {
    return reinterpret_cast<intptr_t>(text);
}

} // namespace

ImpulseGenerator_File::~ImpulseGenerator_File() {
    unregisterFile();
}

std::string ImpulseGenerator_File::getPath() {
    CriticalScope pathScope(pathLock);
    return path;
}

void ImpulseGenerator_File::setPath(std::string newPath) {
    CriticalScope pathScope(pathLock);
    path = std::move(newPath);
}

void ImpulseGenerator_File::loadState(const char *, const void *data, int32_t size) {
    int32_t savedFlags;
    if (size < static_cast<int32_t>(sizeof savedFlags))
        return;
    std::memcpy(&savedFlags, data, sizeof savedFlags);
    const char *text = static_cast<const char *>(data) + sizeof savedFlags;
    const size_t room = static_cast<size_t>(size) - sizeof savedFlags;

    flags = savedFlags;
    unregisterFile();
    const std::string oldPath = getPath();
    setPath({text, strnlen(text, room)});
    applyPath(oldPath);
}

void ImpulseGenerator_File::saveState(HeapBuffer &out) {
    const std::string present = getPath();
    const int32_t savedFlags = flags;
    if (present.size() > INT32_MAX - sizeof savedFlags - 1)
        return;
    const auto size = static_cast<int32_t>(sizeof savedFlags + present.size() + 1);
    out.resize(size, false);
    if (out.getSize() != size)
        return;
    std::memcpy(out.get(), &savedFlags, sizeof savedFlags);
    std::memcpy(static_cast<char *>(out.get()) + sizeof savedFlags, present.c_str(),
                present.size() + 1);
}

void ImpulseGenerator_File::saveText(char *text, int32_t size) {
    TextWriter writer(text, size);
    writer.add(getTypeKey());
    writer.add(" \"");
    writer.add(getPath().c_str());
    writer.add("\" ");
    writer.addInteger(flags);
}

bool ImpulseGenerator_File::loadText(const char *text) {
    text = skipBlanks(text);
    if (!*text)
        return false;
    const bool quoted = *text == '"' || *text == '\'';
    const char delimiter = quoted ? *text++ : ' ';
    const char *end = std::strchr(text, delimiter);
    const size_t length = end ? static_cast<size_t>(end - text) : std::strlen(text);

    unregisterFile();
    const std::string oldPath = getPath();
    setPath({text, length});
    const char *behind = end ? skipBlanks(end + 1) : "";
    if (*behind)
        flags = readInteger(behind);
    applyPath(oldPath);
    return true;
}

/// Behind a change of `path` by a saved form: the host resolves it, and a file that is open already
/// stays open.
void ImpulseGenerator_File::applyPath(const std::string &oldPath) {
    if (hostFunctions.resolve_fn2) {
        char resolved[resolvedSize] = "";
        hostFunctions.resolve_fn2(getPath().c_str(), resolved, resolvedSize, pathFolder);
        if (*resolved)
            setPath(resolved);
    }
    bool isOpen = false;
    {
        CriticalScope scope(lock);
        isOpen = source != nullptr;
    }
    if (!isOpen || compareIgnoringCase(oldPath.c_str(), getPath().c_str()) != 0)
        openPath();
    registerFile();
}

void ImpulseGenerator_File::replaceFile(const char *newPath) {
    unregisterFile();
    setPath(newPath);
    openPath();
    registerFile();
}

void ImpulseGenerator_File::openPath() {
    const std::string present = getPath();
    HostObjectPtr<MediaSource> opened;
    if (!present.empty())
        opened.reset(hostFunctions.PCM_Source_CreateFromFile(present.c_str()));
    // A run may be reading from the old source: it goes behind the lock.
    CriticalScope scope(lock);
    std::swap(source, opened);
}

void ImpulseGenerator_File::registerFile() {
    if (!owner || !hostFunctions.plugin_register || getPath().empty())
        return;
    const intptr_t present = hostContext(owner, hostProject);
    if (present)
        tellProject(registerAction, present);
    CriticalScope pathScope(pathLock);
    project = present;
}

void ImpulseGenerator_File::unregisterFile() {
    if (!owner || !hostFunctions.plugin_register || getPath().empty())
        return;
    intptr_t before = 0;
    {
        CriticalScope pathScope(pathLock);
        before = std::exchange(project, 0);
    }
    if (before)
        tellProject(unregisterAction, before);
}

void ImpulseGenerator_File::tellProject(const char *action, intptr_t ofProject) {
    const std::string present = getPath();
    FileInProjectRecord record{present.c_str(), ofProject, this, fileInProjectCallback};
    hostFunctions.plugin_register(action, &record);
}

/// The host has moved the file, and keeps the registration itself.
void ImpulseGenerator_File::followRename(const char *newPath) {
    try {
        // Without a path the registration could not be ended any more.
        if (!*newPath)
            unregisterFile();
        setPath(newPath);
        openPath();
    } catch (const std::bad_alloc &) {
        return;
    }
    requestRebuildAtIdle(owner);
    dialog.post(fileRefreshMessage);
}

intptr_t ImpulseGenerator_File::fileInProjectCallback(void *stage, int message, void *data) {
    if (!stage)
        return 0;
    auto &self = *static_cast<ImpulseGenerator_File *>(stage);
    switch (message) {
    case fileRenamed:
        if (data)
            self.followRename(static_cast<const char *>(data));
        return 0;
    case fileSubfolder:
        return textAnswer(pathFolder);
    case fileContext:
        return hostContext(self.owner, hostProjectContext);
    case filePlugInName:
        return textAnswer("Tonvale");
    default:
        return 0;
    }
}

} // namespace tonvale
