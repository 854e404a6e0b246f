#include "workbench/cli/commands/state_file.h"

#include "workbench/cli/commands/stage_catalogue.h"
#include "workbench/cli/problem.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace tonvale::workbench {

namespace {

// A state holds settings and paths, no audio.
constexpr size_t largestState = size_t{16} << 20;
constexpr size_t bytesPerNumber = 4;

template <typename Number>
Number numberAt(const std::vector<char> &bytes, size_t place) {
    static_assert(sizeof(Number) == bytesPerNumber);
    Number value;
    std::memcpy(&value, bytes.data() + place, sizeof value);
    return value;
}

/// The oldest states begin with a gain, where later ones have minus a count of numbers.
constexpr float leastGain = -0.5f;
constexpr float mostGain = 1000.0f;

/// Where the stages begin: behind two gains, or a negated count and that many numbers. 0 when there
/// is no such head.
size_t headSize(const std::vector<char> &state) {
    if (state.size() < 2 * bytesPerNumber)
        return 0;
    const float head = numberAt<float>(state, 0);
    if (head >= leastGain && head <= mostGain && std::isfinite(numberAt<float>(state, 4)))
        return 2 * bytesPerNumber;
    const size_t room = state.size() / bytesPerNumber - 1;
    if (!(head <= -1.0f) || head != std::floor(head) || -head > static_cast<float>(room))
        return 0;
    const size_t size = (static_cast<size_t>(-head) + 1) * bytesPerNumber;
    for (size_t place = bytesPerNumber; place < size; place += bytesPerNumber) {
        if (!std::isfinite(numberAt<float>(state, place)))
            return 0;
    }
    return size;
}

} // namespace

std::optional<std::vector<bool>> bypassedStages(const std::vector<char> &state) {
    size_t place = headSize(state);
    if (place == 0)
        return std::nullopt;
    std::vector<bool> bypassed;
    while (place < state.size()) {
        const char *key = state.data() + place;
        const char *last = state.data() + state.size();
        const char *end = std::find(key, last, '\0');
        if (static_cast<size_t>(last - end) < 1 + bytesPerNumber)
            return std::nullopt;
        const bool marked = *key == '!';
        if (!findStageKind(key + (marked ? 1 : 0)))
            return std::nullopt;
        place += static_cast<size_t>(end - key) + 1;
        const int32_t size = numberAt<int32_t>(state, place);
        place += bytesPerNumber;
        if (size < 0 || static_cast<size_t>(size) > state.size() - place)
            return std::nullopt;
        place += static_cast<size_t>(size);
        bypassed.push_back(marked);
    }
    return bypassed;
}

void appendFileStage(std::vector<char> &state, const std::string &path, int flags, bool bypassed) {
    const auto addNumber = [&](int32_t number) {
        char bytes[bytesPerNumber];
        std::memcpy(bytes, &number, sizeof bytes);
        state.insert(state.end(), bytes, bytes + sizeof bytes);
    };
    const auto addText = [&](const std::string &text) {
        state.insert(state.end(), text.c_str(), text.c_str() + text.size() + 1);
    };
    addText(bypassed ? "!FILELDR" : "FILELDR");
    addNumber(static_cast<int32_t>(bytesPerNumber + path.size() + 1));
    addNumber(flags);
    addText(path);
}

std::vector<char> readStateFile(const std::string &path) {
    if (path.empty())
        throw Problem("the name of the state to load is missing");
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw Problem(path + ": a folder, no state");
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw Problem(path + ": " + std::strerror(errno));
    std::vector<char> bytes(largestState + 1);
    in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<size_t>(in.gcount()));
    if (bytes.size() > largestState || !bypassedStages(bytes))
        throw Problem(path + ": no state of this plug-in");
    return bytes;
}

} // namespace tonvale::workbench
