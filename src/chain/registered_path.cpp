#include "chain/registered_path.h"

#include "chain/as_memory_allows.h"
#include "chain/impulse_generator.h"
#include "chain/stage_owner.h"
#include "host/host_functions.h"

#include <utility>

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
    intptr_t (*callback)(void *userData, int message, void *data);
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

RegisteredPath::RegisteredPath(const ImpulseGenerator &stage, std::function<void()> whenMoved)
    : user(stage)
    , moved(std::move(whenMoved))
    , path(std::make_shared<const std::string>()) {}

RegisteredPath::~RegisteredPath() {
    leaveProject(get()->c_str());
}

RegisteredPath::Text RegisteredPath::get() const noexcept {
    CriticalScope scope(lock);
    return path;
}

void RegisteredPath::set(Text next) noexcept {
    CriticalScope scope(lock);
    path.swap(next);
}

void RegisteredPath::replace(Text next) noexcept {
    leaveProject(get()->c_str());
    set(std::move(next));
    enterProject();
}

RegisteredPath::Text RegisteredPath::resolved(const std::string &saved) {
    char found[resolvedSize] = "";
    if (hostFunctions.resolve_fn2)
        hostFunctions.resolve_fn2(saved.c_str(), found, resolvedSize, pathFolder);
    return std::make_shared<const std::string>(*found ? found : saved);
}

void RegisteredPath::enterProject() noexcept {
    const Text present = get();
    if (!user.owner || present->empty() || !hostFunctions.plugin_register)
        return;
    const intptr_t ofProject = hostContext(user.owner, hostProject);
    if (!ofProject)
        return;
    {
        CriticalScope scope(lock);
        project = ofProject;
    }
    tellProject(registerAction, present->c_str(), ofProject);
}

void RegisteredPath::leaveProject(const char *knownAs) noexcept {
    intptr_t before = 0;
    {
        CriticalScope scope(lock);
        before = std::exchange(project, 0);
    }
    if (before && hostFunctions.plugin_register)
        tellProject(unregisterAction, knownAs, before);
}

void RegisteredPath::tellProject(const char *action, const char *file,
                                 intptr_t ofProject) noexcept {
    FileInProjectRecord record{file, ofProject, this, fileInProjectCallback};
    // A host of the same runtime may throw where it runs out of memory itself.
    asMemoryAllows([&] { hostFunctions.plugin_register(action, &record); });
}

/// The host has moved the file, and has changed the registration itself.
void RegisteredPath::follow(const char *newPath) noexcept {
    Text next;
    asMemoryAllows([&] { next = std::make_shared<const std::string>(newPath); });
    // The registration can be ended by the name alone that the host knows: now or never where that
    // can't be kept, and before it is empty.
    if (!next) {
        leaveProject(newPath);
        return;
    }
    if (next->empty())
        leaveProject(get()->c_str());
    set(std::move(next));
    moved();
}

intptr_t RegisteredPath::fileInProjectCallback(void *registeredPath, int message, void *data) {
    if (!registeredPath)
        return 0;
    auto &self = *static_cast<RegisteredPath *>(registeredPath);
    switch (message) {
    case fileRenamed:
        if (data)
            self.follow(static_cast<const char *>(data));
        return 0;
    case fileSubfolder:
        return textAnswer(pathFolder);
    case fileContext:
        return hostContext(self.user.owner, hostProjectContext);
    case filePlugInName:
        return textAnswer("Tonvale");
    default:
        return 0;
    }
}

} // namespace tonvale
