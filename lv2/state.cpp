#include "lv2/state.h"

#include "lv2/chain_chunk.h"
#include "lv2/chain_text.h"
#include "lv2/instance.h"
#include "text/file_path.h"
#include "workbench/services/path_resolver.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>

// The state of an instance: its chain as the plug-in's chunk and as text, either of which is
// enough. The settings are the host's, by port.

namespace tonvale::lv2 {

namespace {

constexpr uint32_t stateFlags = LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE;
constexpr int resolvedSize = 2048;

/// How the host would have paths written, and found again.
struct PathMapping {
    const LV2_State_Map_Path *map = nullptr;
    const LV2_State_Free_Path *release = nullptr;
    const LV2_Worker_Schedule *schedule = nullptr;

    explicit PathMapping(const LV2_Feature *const *features) {
        for (; features && *features; ++features) {
            const LV2_Feature &feature = **features;
            if (std::strcmp(feature.URI, LV2_STATE__mapPath) == 0)
                map = static_cast<const LV2_State_Map_Path *>(feature.data);
            else if (std::strcmp(feature.URI, LV2_STATE__freePath) == 0)
                release = static_cast<const LV2_State_Free_Path *>(feature.data);
            else if (std::strcmp(feature.URI, LV2_WORKER__schedule) == 0)
                schedule = static_cast<const LV2_Worker_Schedule *>(feature.data);
        }
    }

    std::string take(char *path, const std::string &otherwise) const {
        if (!path)
            return otherwise;
        std::string copy = path;
        if (release)
            release->free_path(release->handle, path);
        else
            std::free(path);
        return copy;
    }

    /// What the state holds in place of a path.
    std::string saved(const std::string &path) const {
        if (!map)
            return path;
        std::array<char, resolvedSize> found{};
        workbench::resolvePath(path.c_str(), found.data(), resolvedSize, "impulses");
        const std::string full = found.front() ? found.data() : path;
        // One that leads nowhere from here isn't a path of this system.
        if (!filePath(full).is_absolute())
            return path;
        return take(map->abstract_path(map->handle, full.c_str()), path);
    }

    /// The other way round, without the links by which a host finds its files: it deletes them with
    /// an older state.
    std::string restored(const std::string &path) const {
        const std::string full =
            map ? take(map->absolute_path(map->handle, path.c_str()), path) : path;
        std::error_code error;
        const auto real = std::filesystem::canonical(filePath(full), error);
        if (!error)
            return pathText(real);
        std::array<char, resolvedSize> found{};
        workbench::resolvePath(path.c_str(), found.data(), resolvedSize, "impulses");
        return found.front() ? path : full;
    }
};

template <class Change>
std::string withPaths(const std::string &chain, const Change &change) {
    std::string changed;
    for (const std::string &line : linesOf(chain)) {
        const auto file = readFileLine(line);
        const bool hasPath = file && !file->path.empty();
        const auto other =
            hasPath ? fileLine(change(std::string(file->path)), file->flags, file->isBypassed)
                    : std::nullopt;
        changed.append(changed.empty() ? "" : "\n").append(other.value_or(line));
    }
    return changed;
}

LV2_State_Status save(LV2_Handle handle, LV2_State_Store_Function store, LV2_State_Handle state,
                      uint32_t, const LV2_Feature *const *features) {
    try {
        auto &instance = *static_cast<Instance *>(handle);
        const PathMapping mapping(features);
        const std::string chain = withPaths(
            instance.chain(), [&](const std::string &path) { return mapping.saved(path); });
        const std::string chunk =
            chunkOf(chain, static_cast<int32_t>(instance.kind.outputs.channels.size()));
        if (chunk.empty())
            return LV2_STATE_ERR_UNKNOWN;
        const Urids &urids = instance.urids;
        store(state, urids.chunkState, chunk.data(), chunk.size(), urids.atomChunk, stateFlags);
        return store(state, urids.properties[propertyChain], chain.c_str(), chain.size() + 1,
                     urids.atomString, stateFlags);
    } catch (const std::exception &) {
        return LV2_STATE_ERR_UNKNOWN;
    }
}

/// The chain of a state; nothing where it tells of none.
std::optional<std::string> savedChain(const Urids &urids, LV2_State_Retrieve_Function retrieve,
                                      LV2_State_Handle state) {
    size_t size = 0;
    uint32_t type = 0, flags = 0;
    const void *value = retrieve(state, urids.properties[propertyChain], &size, &type, &flags);
    if (value && type == urids.atomString) {
        const auto *text = static_cast<const char *>(value);
        return std::string(text, strnlen(text, size));
    }
    value = retrieve(state, urids.chunkState, &size, &type, &flags);
    if (value && type == urids.atomChunk)
        return chainOf({static_cast<const char *>(value), size});
    return std::nullopt;
}

LV2_State_Status restore(LV2_Handle handle, LV2_State_Retrieve_Function retrieve,
                         LV2_State_Handle state, uint32_t, const LV2_Feature *const *features) {
    try {
        auto &instance = *static_cast<Instance *>(handle);
        const PathMapping mapping(features);
        const auto saved = savedChain(instance.urids, retrieve, state);
        if (!saved)
            return LV2_STATE_SUCCESS;
        const auto chain = std::make_unique<ChainText>();
        if (!chain->set(
                withPaths(*saved, [&](const std::string &path) { return mapping.restored(path); })))
            return LV2_STATE_ERR_UNKNOWN;
        instance.restore(*chain, mapping.schedule);
        return LV2_STATE_SUCCESS;
    } catch (const std::exception &) {
        return LV2_STATE_ERR_UNKNOWN;
    }
}

} // namespace

const LV2_State_Interface stateInterface = {save, restore};

} // namespace tonvale::lv2
