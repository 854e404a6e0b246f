#include "workbench/cli/sound/truncation.h"

#include "host/host_object_ptr.h"
#include "workbench/cli/warnings.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <vector>

namespace tonvale::workbench {

namespace {

constexpr uint64_t firstUnknown = 0x7FFFF000;
constexpr uint64_t sizeIn64Bits = 0xFFFFFFFF;
// More chunks ahead of the samples than any program writes.
constexpr int mostChunks = 1000;

/// How a kind of file that is made of chunks begins, and how its chunks are laid out.
struct ChunkedFile {
    std::string_view start;
    uint64_t firstChunk;
    std::string_view samples; ///< the chunk that holds them
    int nameBytes;
    int sizeBytes;
    bool isBigEndian;
    bool countsHead; ///< sizes hold the chunk's own name and size
    int multiple;    ///< of bytes, where the next chunk begins
};

constexpr ChunkedFile kinds[] = {
    {"RIFF", 12, "data", 4, 4, false, false, 2}, {"RF64", 12, "data", 4, 4, false, false, 2},
    {"RIFX", 12, "data", 4, 4, true, false, 2},  {"FORM", 12, "SSND", 4, 4, true, false, 2},
    {"riff", 40, "data", 16, 8, false, true, 8},
};

uint64_t numberOf(const char *bytes, int count, bool isBigEndian) {
    uint64_t number = 0;
    for (int i = 0; i < count; ++i) {
        const int place = isBigEndian ? i : count - 1 - i;
        number = number << 8 | static_cast<unsigned char>(bytes[place]);
    }
    return number;
}

/// Where the samples end by the header's word; nothing where it gives none.
std::optional<uint64_t> promisedEnd(std::ifstream &file, uint64_t fileSize) {
    std::array<char, 24> head{};
    file.read(head.data(), 4);
    const auto kind = std::find_if(std::begin(kinds), std::end(kinds), [&](const ChunkedFile &k) {
        return k.start == std::string_view(head.data(), 4);
    });
    if (kind == std::end(kinds))
        return std::nullopt;

    const uint64_t headBytes =
        static_cast<uint64_t>(kind->nameBytes) + static_cast<uint64_t>(kind->sizeBytes);
    const auto multiple = static_cast<uint64_t>(kind->multiple);
    uint64_t longSize = 0;
    uint64_t place = kind->firstChunk;
    for (int chunk = 0; chunk < mostChunks && place + headBytes <= fileSize; ++chunk) {
        file.seekg(static_cast<std::streamoff>(place));
        if (!file.read(head.data(), static_cast<std::streamsize>(headBytes)))
            return std::nullopt;
        const std::string_view name(head.data(), 4);
        uint64_t size = numberOf(head.data() + kind->nameBytes, kind->sizeBytes, kind->isBigEndian);
        if (kind->countsHead)
            size = std::max(size, headBytes) - headBytes;
        place += headBytes;
        if (name == kind->samples) {
            if (kind->start == "RF64" && size == sizeIn64Bits)
                size = longSize;
            else if (kind->sizeBytes == 4 && size >= firstUnknown)
                return std::nullopt;
            if (size == 0 || size > INT64_MAX)
                return std::nullopt;
            return place + size;
        }
        if (name == "ds64" && size >= 16 && file.read(head.data(), 16))
            longSize = numberOf(head.data() + 8, 8, false);
        if (size > fileSize)
            return std::nullopt;
        place += (size + multiple - 1) / multiple * multiple;
    }
    return std::nullopt;
}

/// Whether the last frame that a file tells of is there: packed sound has no other length.
bool endsWhereItSays(const std::string &path) {
    const HostObjectPtr<MediaSource> source(createMediaSource(path.c_str()));
    if (!source)
        return true;
    const double rate = source->GetSampleRate();
    const double frames = std::round(source->GetLength() * rate);
    if (!(frames >= 1.0))
        return true;
    std::vector<double> frame(static_cast<size_t>(source->GetNumChannels()));
    MediaReadBlock block{};
    block.time = block.secondTime = (frames - 1.0) / rate;
    block.sampleRate = rate;
    block.channels = source->GetNumChannels();
    block.length = 1;
    block.samples = frame.data();
    source->GetSamples(&block);
    return block.samplesOut == 1;
}

} // namespace

void warnOfTruncation(const std::string &path) {
    std::error_code error;
    const uint64_t fileSize = std::filesystem::file_size(path, error);
    if (error || !std::filesystem::is_regular_file(path, error))
        return;
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return;
    const auto end = promisedEnd(file, fileSize);
    if (end ? *end > fileSize : !endsWhereItSays(path))
        warnTruncated(path);
}

void warnTruncated(const std::string &shownName) {
    warn(shownName + " is truncated: it holds fewer samples than its header promises");
}

} // namespace tonvale::workbench
