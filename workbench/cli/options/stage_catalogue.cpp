#include "workbench/cli/options/stage_catalogue.h"

#include "workbench/cli/problem.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tonvale::workbench {

namespace {

constexpr auto count = StageQuantity::count;
constexpr auto number = StageQuantity::number;
constexpr auto level = StageQuantity::level;
constexpr auto time = StageQuantity::time;
constexpr auto frequency = StageQuantity::frequency;

/// The factor of +12 dB, with what the plug-in's own texts of six decimals add to it.
constexpr double mostLevel = 3.9810722;

constexpr StageValue channelToolValues[] = {
    {"source", count, "from 0", 0, 127},
    {"destination", count, "from 0", 0, 127},
    {"action", count, "0 swap, 1 copy, 2 add to, 3 subtract from, 4 convolve", 0, 4},
    {"count", count, "channels", 1, 128},
    {"total", count, "channels, 0 is automatic", 0, 128},
};
constexpr StageValue echoValues[] = {
    {"start position", time, "", 0, 10000},   {"length", time, "", 0, 10000},
    {"echo spacing", time, "", 1, 1000},      {"start volume", level, "", 0, mostLevel},
    {"end volume", level, "", 0, mostLevel},  {"error spacing", time, "", 0, 100},
    {"error distribution", number, "", 0, 1},
};
constexpr StageValue fileValues[] = {
    {"path", StageQuantity::text, "in quotes"},
    {"flags", count, "1 mix to mono, 62 gain mode (60 normal, 56 -18 dB), 256 x first channel"},
};
constexpr StageValue filterValues[] = {
    {"lowpass", frequency, "", 0, 1},
    {"highpass", frequency, "", 0, 1},
};
constexpr StageValue normalizeValues[] = {
    {"peak volume", level, "", 0, mostLevel},
};
constexpr StageValue reverbValues[] = {
    {"initial delay", time, "", 0, 10000}, {"length", time, "", 0, 10000},
    {"volume", level, "", 0, mostLevel},   {"room size", number, "", 30, 98},
    {"dampening", number, "", 0, 100},     {"stereo width", number, "", -1, 1},
};
constexpr StageValue reverseValues[] = {
    {"reverse mix", level, "", 0, mostLevel},
    {"dry mix", level, "", 0, mostLevel},
    {"channel", number, "from 1, 0 is all", 0, 129},
};
constexpr StageValue editValues[] = {
    {"gain", level, "", 0, mostLevel},
    {"start position", time, "", 0, 20000},
    {"maximum length", time, "", 1, 20000},
    {"stretch", number, "times", 0.1, 10},
    {"pre-silence", time, "", 0, 20000},
    {"width", number, "", -2, 2},
    {"pan", number, "", -1, 1},
};

constexpr std::string_view fileKey = "FILELDR";
// A file as it is; its first response channel counts in the upper bits.
constexpr int usualFileFlags = 60;
constexpr int channelFlag = 256;
// Flags don't depend on it.
constexpr double anyRate = 44100;

constexpr StageKind kinds[] = {
    {"CHANTOOL", "Channel Tool", channelToolValues},
    {"ECHOGEN", "Echo Generator", echoValues},
    {"FILELDR", "File", fileValues},
    {"FILT", "Filter (LP/HP)", filterValues},
    {"NORM", "Normalize", normalizeValues},
    {"VERBGEN", "Reverb Generator", reverbValues},
    {"REVERSE", "Reverse", reverseValues},
    {"BASICEDIT", "Trim/Gain/Stretch", editValues},
};

constexpr std::string_view blanks = " \t";

/// Takes the first word off `rest`.
std::string_view takeWord(std::string_view &rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
    const size_t length = std::min(rest.find_first_of(blanks), rest.size());
    const std::string_view word = rest.substr(0, length);
    rest.remove_prefix(length);
    return word;
}

[[noreturn]] void refuse(const std::string &line, const std::string &reason) {
    throw Problem("stage '" + line + "': " + reason);
}

StageNumber readNumber(const std::string &line, std::string_view word, const StageValue &value) {
    return {std::string(word), value.quantity, "stage '" + line + "': " + value.name};
}

StageFile readFile(const std::string &line, std::string_view rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
    if (rest.empty())
        refuse(line, "stage text cut short: the path is missing");
    const char quote = rest.front();
    const bool quoted = quote == '"' || quote == '\'';
    if (quoted)
        rest.remove_prefix(1);
    const size_t length = quoted ? rest.rfind(quote) : rest.find(' ');
    if (quoted && length == std::string_view::npos)
        refuse(line, "stage text cut short: the closing quote is missing");
    StageFile file{std::string(rest.substr(0, length)), usualFileFlags};
    if (file.path.empty())
        refuse(line, "the path is empty");
    rest.remove_prefix(length == std::string_view::npos ? rest.size() : length + 1);
    const std::string_view flags = takeWord(rest);
    if (!flags.empty())
        file.flags = static_cast<int>(readNumber(line, flags, fileValues[1]).at(anyRate));
    if (!takeWord(rest).empty())
        refuse(line, "there is more behind the flags");
    return file;
}

std::vector<StageNumber> readNumbers(const std::string &line, const StageKind &kind,
                                     std::string_view rest) {
    std::vector<std::string_view> words;
    for (std::string_view word = takeWord(rest); !word.empty(); word = takeWord(rest))
        words.push_back(word);
    std::vector<StageNumber> numbers;
    if (words.empty())
        return numbers;
    const size_t wanted = kind.values.size();
    if (words.size() != wanted) {
        const char *cut = words.size() < wanted ? "stage text cut short: " : "";
        refuse(line, cut + std::string(kind.key) + " has " + std::to_string(wanted) +
                         " values and got " + std::to_string(words.size()));
    }
    for (size_t i = 0; i < wanted; ++i)
        numbers.push_back(readNumber(line, words[i], kind.values[i]));
    return numbers;
}

std::string shortNumber(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

} // namespace

std::span<const StageKind> stageKinds() {
    return kinds;
}

const StageKind *findStageKind(std::string_view key) {
    for (const StageKind &kind : kinds) {
        if (key == kind.key)
            return &kind;
    }
    return nullptr;
}

std::string rangeText(const StageValue &value) {
    if (value.quantity == StageQuantity::level)
        return "-inf to +12 dB";
    if (!std::isfinite(value.least))
        return "";
    return shortNumber(value.least) + " to " + shortNumber(value.most);
}

StageLine readStageLine(const std::string &line) {
    std::string_view rest = line;
    std::string_view key = takeWord(rest);
    const bool bypassed = key.starts_with('!');
    if (bypassed)
        key.remove_prefix(1);
    if (key.empty())
        refuse(line, "stage text cut short: the stage's key is missing");
    const StageKind *kind = findStageKind(key);
    if (!kind)
        refuse(line, "there is no stage '" + std::string(key) + "'; tonvale stages lists them");
    if (kind->key == fileKey)
        return {.kind = kind, .bypassed = bypassed, .file = readFile(line, rest)};
    return {.kind = kind, .bypassed = bypassed, .numbers = readNumbers(line, *kind, rest)};
}

StageLine fileStage(const std::string &path, int firstChannel) {
    return {.kind = findStageKind(fileKey),
            .bypassed = false,
            .file = StageFile{path, usualFileFlags + channelFlag * firstChannel}};
}

std::string plainLine(const StageLine &line, double rate) {
    std::string text = (line.bypassed ? "!" : "") + std::string(line.kind->key);
    for (const StageNumber &value : line.numbers)
        text += " " + plainNumber(value.at(rate));
    if (!line.file)
        return text;
    const char quote = line.file->path.find('"') == std::string::npos ? '"' : '\'';
    return text + " " + quote + line.file->path + quote + " " + std::to_string(line.file->flags);
}

bool StageFile::hasLine() const {
    return path.find('"') == std::string::npos || path.find('\'') == std::string::npos;
}

} // namespace tonvale::workbench
