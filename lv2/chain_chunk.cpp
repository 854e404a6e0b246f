#include "lv2/chain_chunk.h"

#include "convolution/containers/bounded_integer.h"
#include "lv2/chain_text.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>

namespace tonvale::lv2 {

namespace {

constexpr size_t wordSize = 4;
constexpr std::string_view fileKey = "FILELDR";
constexpr std::string_view channelToolKey = "CHANTOOL";

template <class Number>
Number numberAt(std::string_view bytes, size_t place) {
    static_assert(sizeof(Number) == wordSize);
    Number value;
    std::memcpy(&value, bytes.data() + place, sizeof value);
    return value;
}

/// One stage of a chunk.
struct Record {
    std::string_view key; ///< with the "!" of a bypassed one
    std::string_view payload;

    bool isBypassed() const { return key.starts_with('!'); }
    std::string_view type() const { return key.substr(isBypassed() ? 1 : 0); }
};

bool isKey(std::string_view key) {
    const auto isCapital = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); };
    return !key.empty() && std::all_of(key.begin(), key.end(), isCapital);
}

/// The bytes of a chunk in front of its stages: two gains, or a negated count and that many
/// numbers.
size_t headSize(std::string_view chunk) {
    if (chunk.size() < 2 * wordSize)
        return 0;
    const double head = numberAt<float>(chunk, 0);
    if (head >= -0.5)
        return 2 * wordSize;
    const auto room =
        static_cast<int32_t>(std::min<size_t>(chunk.size() / wordSize - 1, INT32_MAX));
    return wordSize * (1 + static_cast<size_t>(boundedInteger(0.5 - head, 0, room)));
}

/// Takes a record off the front; nothing where none can be there.
std::optional<Record> takeRecord(std::string_view &rest) {
    const size_t length = rest.find('\0');
    if (length == std::string_view::npos || rest.size() - length < 1 + wordSize)
        return std::nullopt;
    const auto size = numberAt<int32_t>(rest, length + 1);
    Record record{rest.substr(0, length), rest.substr(length + 1 + wordSize)};
    if (!isKey(record.type()) || size < 0 || static_cast<size_t>(size) > record.payload.size())
        return std::nullopt;
    record.payload = record.payload.substr(0, static_cast<size_t>(size));
    rest.remove_prefix(length + 1 + wordSize + record.payload.size());
    return record;
}

template <class Number>
void appendNumber(std::string &line, Number value) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    line.append(" ").append(digits, end);
}

std::optional<std::string> lineOf(const Record &record) {
    std::string line(record.key);
    if (record.type() == fileKey) {
        if (record.payload.size() < wordSize)
            return line;
        const std::string_view path = record.payload.substr(wordSize);
        std::string flags;
        appendNumber(flags, numberAt<int32_t>(record.payload, 0));
        return fileLine(path.substr(0, path.find('\0')), flags.substr(1), record.isBypassed());
    }
    const bool isWhole = record.type() == channelToolKey;
    for (size_t at = 0; at + wordSize <= record.payload.size(); at += wordSize) {
        if (isWhole)
            appendNumber(line, numberAt<int32_t>(record.payload, at));
        else
            appendNumber(line, numberAt<float>(record.payload, at));
    }
    return line;
}

void appendRecord(std::string &chunk, std::string_view key, std::string_view payload) {
    const auto size = static_cast<int32_t>(payload.size());
    chunk.append(key).push_back('\0');
    chunk.append(reinterpret_cast<const char *>(&size), sizeof size).append(payload);
}

/// A chunk with these as the paths of its files.
std::string withPaths(std::string_view rest, const std::vector<std::string> &paths) {
    std::string chunk(rest.substr(0, headSize(rest)));
    rest.remove_prefix(chunk.size());
    for (auto path = paths.begin(); const auto record = takeRecord(rest);) {
        std::string payload(record->payload);
        if (record->type() == fileKey && path != paths.end() && payload.size() >= wordSize)
            payload = payload.substr(0, wordSize).append(*path++).append(1, '\0');
        appendRecord(chunk, record->key, payload);
    }
    return chunk;
}

bool isPlain(const std::string &line) {
    const auto file = readFileLine(line);
    return !file || file->isPlain;
}

/// The stages of these lines, without their files. Answers their paths.
std::vector<std::string> appendWithoutFiles(Effect &effect, const std::vector<std::string> &lines) {
    std::vector<std::string> paths;
    for (const std::string &line : lines) {
        const auto file = readFileLine(line);
        if (effect.appendStage(file ? *fileLine("", file->flags, file->isBypassed) : line) && file)
            paths.emplace_back(file->path);
    }
    return paths;
}

} // namespace

void setChain(Effect &effect, const std::vector<std::string> &lines) {
    if (std::all_of(lines.begin(), lines.end(), isPlain)) {
        for (const std::string &line : lines)
            effect.appendStage(line);
        effect.finishChain();
        return;
    }
    const std::vector<std::string> paths = appendWithoutFiles(effect, lines);
    effect.setChunk(withPaths(effect.chunk(), paths));
}

std::string chunkOf(std::string_view chain, int32_t channels) {
    const auto effect = Effect::make(44100.0, channels);
    if (!effect)
        return {};
    // The paths needn't be those of this system.
    const std::vector<std::string> paths = appendWithoutFiles(*effect, linesOf(chain));
    const std::string chunk = effect->chunk();
    return chunk.empty() ? chunk : withPaths(chunk, paths);
}

std::string chainOf(std::string_view chunk) {
    chunk.remove_prefix(headSize(chunk));
    std::string chain;
    while (const auto record = takeRecord(chunk)) {
        if (const auto line = lineOf(*record))
            chain.append(chain.empty() ? "" : "\n").append(*line);
    }
    return chain;
}

} // namespace tonvale::lv2
