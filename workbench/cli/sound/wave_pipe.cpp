#include "workbench/cli/sound/wave_pipe.h"

#include "workbench/cli/problem.h"
#include "workbench/services/media.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sndfile.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace tonvale::workbench {

namespace {

struct Coding {
    uint16_t tag;
    uint16_t bits;
    int subtype;
};

constexpr Coding codings[] = {
    {1, 8, SF_FORMAT_PCM_U8},  {1, 16, SF_FORMAT_PCM_16}, {1, 24, SF_FORMAT_PCM_24},
    {1, 32, SF_FORMAT_PCM_32}, {3, 32, SF_FORMAT_FLOAT},  {3, 64, SF_FORMAT_DOUBLE},
    {6, 8, SF_FORMAT_ALAW},    {7, 8, SF_FORMAT_ULAW},
};

constexpr uint16_t formatExtensible = 0xFFFE;
constexpr size_t plainSize = 16;
constexpr size_t extensibleSize = 26; ///< up to the number of the coding
constexpr size_t ds64Size = 16;       ///< up to the length of the samples

// Programs that don't know the length yet write 0 or one of several numbers close to the largest.
constexpr uint64_t firstUnknown = 0x7FFFF000;
constexpr uint64_t sizeIn64Bits = 0xFFFFFFFF;

class Pipe {
  public:
    Pipe(int number, const char *shownName)
        : descriptor(number)
        , name(shownName) {}

    [[noreturn]] void refuse(const char *reason) const {
        throw Problem(std::string(name) + ": " + reason);
    }

    void read(char *to, size_t size) const {
        while (size > 0) {
            const ssize_t got = ::read(descriptor, to, size);
            if (got < 0 && errno == EINTR)
                continue;
            if (got < 0)
                refuse(std::strerror(errno));
            if (got == 0)
                refuse("no WAV (it ends before its samples)");
            to += got;
            size -= static_cast<size_t>(got);
        }
    }

    /// The first bytes of a chunk, at most `wanted` of them; the others are left out.
    std::vector<char> chunk(uint64_t size, size_t wanted) const {
        std::vector<char> content(static_cast<size_t>(std::min<uint64_t>(size, wanted)));
        read(content.data(), content.size());
        std::array<char, 4096> unused;
        for (uint64_t left = size + size % 2 - content.size(); left > 0;) {
            const auto count = static_cast<size_t>(std::min<uint64_t>(left, unused.size()));
            read(unused.data(), count);
            left -= count;
        }
        return content;
    }

  private:
    int descriptor;
    const char *name;
};

template <class T>
T numberAt(const std::vector<char> &bytes, size_t place) {
    T value;
    std::memcpy(&value, bytes.data() + place, sizeof value);
    return value;
}

/// Fills in all but the length; answers the bytes of a frame.
int64_t readFormat(const Pipe &pipe, const std::vector<char> &content, WaveStart &start) {
    if (content.size() < plainSize)
        pipe.refuse("no WAV (its format is cut short)");
    auto tag = numberAt<uint16_t>(content, 0);
    const auto bits = numberAt<uint16_t>(content, 14);
    const auto rate = numberAt<uint32_t>(content, 4);
    start.channels = numberAt<uint16_t>(content, 2);
    if (tag == formatExtensible && content.size() >= extensibleSize) {
        start.speakers = numberAt<uint32_t>(content, 20);
        tag = numberAt<uint16_t>(content, 24);
    }
    const auto *coding =
        std::find_if(std::begin(codings), std::end(codings),
                     [&](const Coding &known) { return known.tag == tag && known.bits == bits; });
    if (coding == std::end(codings))
        pipe.refuse("a WAV of a kind that can't be read from a pipe");
    if (rate < 1 || rate > INT32_MAX || start.channels < 1 || start.channels > mostMediaChannels)
        pipe.refuse("not a media file that can be read (damaged header)");
    start.rate = static_cast<int>(rate);
    start.subtype = coding->subtype;
    return int64_t{start.channels} * (bits / 8);
}

} // namespace

WaveStart readWaveStart(int descriptor, const char *name) {
    const Pipe pipe(descriptor, name);
    char head[12];
    pipe.read(head, sizeof head);
    const bool isLarge = std::memcmp(head, "RF64", 4) == 0;
    if ((!isLarge && std::memcmp(head, "RIFF", 4) != 0) || std::memcmp(head + 8, "WAVE", 4) != 0)
        pipe.refuse("no WAV; other files can't be read from a pipe");

    WaveStart start{};
    int64_t frameBytes = 0;
    uint64_t longSize = 0;
    while (true) {
        char chunkHead[8];
        pipe.read(chunkHead, sizeof chunkHead);
        uint32_t size = 0;
        std::memcpy(&size, chunkHead + 4, sizeof size);
        const std::string kind(chunkHead, 4);
        if (kind == "data") {
            if (frameBytes == 0)
                pipe.refuse("no WAV (its format is missing)");
            const bool isLong = isLarge && size == sizeIn64Bits;
            const uint64_t bytes = isLong ? longSize : size;
            const bool isKnown = bytes > 0 && bytes <= INT64_MAX && (isLong || size < firstUnknown);
            if (isKnown)
                start.frames = static_cast<int64_t>(bytes) / frameBytes;
            return start;
        }
        const std::vector<char> content = pipe.chunk(size, 64);
        if (kind == "fmt ")
            frameBytes = readFormat(pipe, content, start);
        if (kind == "ds64" && content.size() >= ds64Size)
            longSize = numberAt<uint64_t>(content, 8);
    }
}

} // namespace tonvale::workbench
