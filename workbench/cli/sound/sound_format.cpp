#include "workbench/cli/sound/sound_format.h"

#include "workbench/cli/output_file.h"
#include "workbench/cli/problem.h"

#include <algorithm>
#include <filesystem>
#include <limits>

namespace tonvale::workbench {

namespace {

struct Ending {
    const char *text;
    Container container;
};

constexpr Ending endings[] = {
    {".wav", Container::wave},  {".w64", Container::wave64}, {".flac", Container::flac},
    {".aiff", Container::aiff}, {".aif", Container::aiff},
};

/// What a container holds at most, and what it is called.
struct Limits {
    Container container;
    const char *name;
    int channels;
    int rate;
    int deepest;
    int64_t bytes;
};

constexpr int anyNumber = std::numeric_limits<int>::max();
constexpr int64_t anyLength = std::numeric_limits<int64_t>::max() / 2;
// Counted in 32 bits; some are left for the chunks around the samples.
constexpr int64_t aiffBytes = 0xFFFFFFFF - 65536;

constexpr Limits limits[] = {
    {Container::wave, "a WAV", 1024, anyNumber, 64, anyLength},
    {Container::wave64, "a W64", 1024, anyNumber, 64, anyLength},
    {Container::flac, "a FLAC", 8, 655350, 24, anyLength},
    {Container::aiff, "an AIFF", 1024, anyNumber, 64, aiffBytes},
};

} // namespace

Container containerOf(const std::string &name) {
    if (name == pipeName)
        return Container::wave;
    if (name.empty())
        throw Problem("the name of the output file is missing");
    std::string ending = std::filesystem::path(name).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) {
        return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    });
    for (const Ending &known : endings) {
        if (ending == known.text)
            return known.container;
    }
    throw Problem(name + ": a sound's name ends in .wav, .w64, .flac, .aiff or .aif");
}

const char *endingOf(Container container) {
    for (const Ending &known : endings) {
        if (known.container == container)
            return known.text + 1;
    }
    return "";
}

void requireFitting(const std::string &name, const SoundFormat &format, const SoundShape &shape) {
    const auto refuse = [&](const Limits &limit, const std::string &what) {
        throw Problem(name + ": " + limit.name + " file can't hold " + what);
    };
    for (const Limits &limit : limits) {
        if (limit.container != format.container)
            continue;
        if (format.depth > limit.deepest)
            refuse(limit, std::to_string(format.depth) + " bits");
        if (shape.channels > limit.channels)
            refuse(limit, std::to_string(shape.channels) + " channels");
        const int64_t second = int64_t{shape.rate} * shape.channels * (format.depth / 8);
        // Headers count the bytes of a second in 32 bits.
        if (shape.rate > limit.rate || second > std::numeric_limits<uint32_t>::max())
            refuse(limit, "a rate of " + std::to_string(shape.rate) + " Hz");
        const int64_t frame = int64_t{shape.channels} * (format.depth / 8);
        if (shape.frames.value_or(0) > limit.bytes / frame)
            refuse(limit, "that much");
    }
}

} // namespace tonvale::workbench
