#include "workbench/cli/sound/wave_header.h"

#include <algorithm>
#include <bit>
#include <string_view>

namespace tonvale::workbench {

namespace {

using namespace std::string_view_literals;

static_assert(std::endian::native == std::endian::little, "the files' numbers are little-endian");

constexpr uint16_t formatPcm = 1;
constexpr uint16_t formatFloat = 3;
constexpr uint16_t formatExtensible = 0xFFFE;

constexpr uint32_t untold = 0xFFFFFFFF;
// A file of 4 GiB: readers differ on what comes close to the largest number.
constexpr int64_t mostRiffBytes = (int64_t{1} << 32) - 8;

constexpr size_t ds64Size = 28;

// What follows the sample format's number in its GUID, and a W64 chunk's name in its own.
constexpr std::string_view mediaGuidTail =
    "\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71"sv;
constexpr std::string_view wave64Riff = "riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\x00\x00"sv;
constexpr std::string_view wave64Tail = "\xF3\xAC\xD3\x11\x8C\xD1\x00\xC0\x4F\x8E\xDB\x8A"sv;
constexpr int64_t wave64ChunkHead = 24;

class Bytes {
  public:
    template <class T>
    void number(T value) {
        all.append(reinterpret_cast<const char *>(&value), sizeof value);
    }
    void text(std::string_view bytes) { all.append(bytes); }
    void zeros(size_t count) { all.append(count, '\0'); }
    void add(const Bytes &more) { all.append(more.all); }
    int64_t size() const { return static_cast<int64_t>(all.size()); }

    std::string all;
};

int frameBytes(const SoundFormat &format, const SoundShape &shape) {
    return shape.channels * (format.depth / 8);
}

/// The format chunk's content: in its long form where speakers are told.
Bytes formatContent(const SoundFormat &format, const SoundShape &shape) {
    const uint16_t tag = format.isFloat() ? formatFloat : formatPcm;
    const auto bits = static_cast<uint16_t>(format.depth);
    const int frame = frameBytes(format, shape);
    Bytes bytes;
    bytes.number(shape.speakers ? formatExtensible : tag);
    bytes.number(static_cast<uint16_t>(shape.channels));
    bytes.number(static_cast<uint32_t>(shape.rate));
    bytes.number(static_cast<uint32_t>(int64_t{shape.rate} * frame));
    bytes.number(static_cast<uint16_t>(frame));
    bytes.number(bits);
    if (shape.speakers) {
        bytes.number(uint16_t{22});
        bytes.number(bits);
        bytes.number(shape.speakers);
        bytes.number(tag);
        bytes.text(mediaGuidTail);
    } else if (format.isFloat()) {
        bytes.number(uint16_t{0});
    }
    return bytes;
}

uint32_t in32Bits(int64_t value) {
    return value < 0 || value > untold ? untold : static_cast<uint32_t>(value);
}

/// `frames` below 0 are an unknown length.
Bytes riffHeader(const SoundFormat &format, const SoundShape &shape, int64_t frames, bool hasRoom) {
    const Bytes content = formatContent(format, shape);
    const int64_t samples = frames < 0 ? -1 : frames * frameBytes(format, shape);
    Bytes inner;
    inner.text("fmt ");
    inner.number(static_cast<uint32_t>(content.size()));
    inner.add(content);
    if (format.isFloat()) {
        inner.text("fact");
        inner.number(uint32_t{4});
        inner.number(in32Bits(frames));
    }
    inner.text("data");
    const int64_t room = 8 + static_cast<int64_t>(ds64Size);
    const auto riffSize = [&](bool roomy) {
        return 4 + (roomy ? room : 0) + inner.size() + 4 + samples +
               wavePadding(format, shape, frames);
    };
    const bool isLarge = frames >= 0 && riffSize(hasRoom) > mostRiffBytes;

    Bytes header;
    header.text(isLarge ? "RF64" : "RIFF");
    header.number(frames < 0 || isLarge ? untold : in32Bits(riffSize(hasRoom)));
    header.text("WAVE");
    if (isLarge) {
        header.text("ds64");
        header.number(static_cast<uint32_t>(ds64Size));
        header.number(riffSize(true));
        header.number(samples);
        header.number(frames);
        header.number(uint32_t{0});
    } else if (hasRoom) {
        header.text("JUNK");
        header.number(static_cast<uint32_t>(ds64Size));
        header.zeros(ds64Size);
    }
    header.add(inner);
    header.number(isLarge ? untold : in32Bits(samples));
    return header;
}

void wave64Chunk(Bytes &bytes, std::string_view name, int64_t contentSize) {
    bytes.text(name);
    bytes.text(wave64Tail);
    bytes.number(wave64ChunkHead + contentSize);
}

Bytes wave64Header(const SoundFormat &format, SoundShape shape, int64_t frames) {
    // libsndfile, and so most programs, can't read the long form of these.
    if (format.depth == 64)
        shape.speakers = 0;
    const Bytes content = formatContent(format, shape);
    const int64_t samples = frames < 0 ? 0 : frames * frameBytes(format, shape);
    Bytes inner;
    inner.text("wave");
    inner.text(wave64Tail);
    wave64Chunk(inner, "fmt ", content.size());
    inner.add(content);
    inner.zeros(static_cast<size_t>(-content.size() & 7));
    if (format.isFloat()) {
        wave64Chunk(inner, "fact", 8);
        inner.number(std::max<int64_t>(frames, 0));
    }
    wave64Chunk(inner, "data", samples);
    Bytes header;
    header.text(wave64Riff);
    header.number(wave64ChunkHead + inner.size() + samples);
    header.add(inner);
    return header;
}

} // namespace

std::string waveHeader(const SoundFormat &format, const SoundShape &shape, bool hasRoom) {
    const int64_t frames = shape.frames.value_or(-1);
    return format.container == Container::wave64 ? wave64Header(format, shape, frames).all
                                                 : riffHeader(format, shape, frames, hasRoom).all;
}

int wavePadding(const SoundFormat &format, const SoundShape &shape, int64_t frames) {
    if (format.container == Container::wave64)
        return 0;
    return static_cast<int>(std::max<int64_t>(frames, 0) * frameBytes(format, shape) % 2);
}

} // namespace tonvale::workbench
