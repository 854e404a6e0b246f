#include "workbench/cli/commands/stage_catalogue.h"

#include "workbench/cli/commands/option_values.h"
#include "workbench/cli/problem.h"

#include <cmath>
#include <limits>
#include <vector>

namespace tonvale::workbench {

namespace {

constexpr const char *factor = "factor, 1 is 0 dB";
constexpr const char *channelNumber = "from 0";

constexpr StageValue channelToolValues[] = {
    {"source", channelNumber, "0 to 127"},
    {"destination", channelNumber, "0 to 127"},
    {"action", "0 swap, 1 copy, 2 add to, 3 subtract from, 4 convolve", "0 to 4"},
    {"count", "channels", "1 to 128"},
    {"total", "channels, 0 is automatic", "0 to 128"},
};
constexpr StageValue echoValues[] = {
    {"start position", "ms", "0 to 10000"},
    {"length", "ms", "0 to 10000"},
    {"echo spacing", "ms", "1 to 1000"},
    {"start volume", factor, ""},
    {"end volume", factor, ""},
    {"error spacing", "ms", "0 to 100"},
    {"error distribution", "", "0 to 1"},
};
constexpr StageValue fileValues[] = {
    {"path", "in quotes", ""},
    {"flags", "1 mix to mono, 62 gain mode (60 normal, 56 -18 dB), 256 x first channel", ""},
};
constexpr StageValue filterValues[] = {
    {"lowpass", "of half the sample rate", "0 to 1"},
    {"highpass", "of half the sample rate", "0 to 1"},
};
constexpr StageValue normalizeValues[] = {
    {"peak volume", factor, ""},
};
constexpr StageValue reverbValues[] = {
    {"initial delay", "ms", "0 to 10000"},
    {"length", "ms", "0 to 10000"},
    {"volume", factor, ""},
    {"room size", "", "30 to 98"},
    {"dampening", "", "0 to 100"},
    {"stereo width", "", "-1 to 1"},
};
constexpr StageValue reverseValues[] = {
    {"reverse mix", factor, ""},
    {"dry mix", factor, ""},
    {"channel", "from 1, 0 is all", "0 to 129"},
};
constexpr StageValue editValues[] = {
    {"gain", factor, ""},
    {"start position", "ms", "0 to 20000"},
    {"maximum length", "ms", "1 to 20000"},
    {"stretch", "times", "0.1 to 10"},
    {"pre-silence", "ms", "0 to 20000"},
    {"width", "", "-2 to 2"},
    {"pan", "", "-1 to 1"},
};

constexpr std::string_view fileKey = "FILELDR";
// A file as it is; its first response channel counts in the upper bits.
constexpr int usualFileFlags = 60;
constexpr int channelFlag = 256;
constexpr std::string_view channelToolKey = "CHANTOOL";

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

void requireNumber(const std::string &line, std::string_view word, const char *name, bool whole) {
    const auto value = numberIn(std::string(word));
    if (!value)
        refuse(line, std::string(name) + " is no number: '" + std::string(word) + "'");
    constexpr double most = std::numeric_limits<int>::max();
    if (whole && (*value != std::floor(*value) || std::fabs(*value) > most))
        refuse(line, std::string(name) + " is no whole number: '" + std::string(word) + "'");
}

/// Reads a file loader's path and checks its flags.
std::string readFile(const std::string &line, std::string_view rest) {
    rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
    if (rest.empty())
        refuse(line, "stage text cut short: the path is missing");
    const char quote = rest.front();
    const bool quoted = quote == '"' || quote == '\'';
    if (quoted)
        rest.remove_prefix(1);
    const size_t length = rest.find(quoted ? quote : ' ');
    if (quoted && length == std::string_view::npos)
        refuse(line, "stage text cut short: the closing quote is missing");
    std::string path(rest.substr(0, length));
    if (path.empty())
        refuse(line, "the path is empty");
    rest.remove_prefix(length == std::string_view::npos ? rest.size() : length + 1);
    const std::string_view flags = takeWord(rest);
    if (!flags.empty())
        requireNumber(line, flags, "flags", true);
    if (!takeWord(rest).empty())
        refuse(line, "there is more behind the flags");
    return path;
}

void checkNumbers(const std::string &line, const StageKind &kind, std::string_view rest) {
    std::vector<std::string_view> words;
    for (std::string_view word = takeWord(rest); !word.empty(); word = takeWord(rest))
        words.push_back(word);
    if (words.empty())
        return;
    const auto wanted = std::to_string(kind.values.size());
    if (words.size() < kind.values.size()) {
        refuse(line, "stage text cut short: " + std::string(kind.key) + " has " + wanted +
                         " values and got " + std::to_string(words.size()));
    }
    if (words.size() > kind.values.size()) {
        refuse(line, std::string(kind.key) + " has " + wanted + " values and got " +
                         std::to_string(words.size()));
    }
    for (size_t i = 0; i < words.size(); ++i)
        requireNumber(line, words[i], kind.values[i].name, kind.key == channelToolKey);
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
        return {kind, bypassed, readFile(line, rest)};
    checkNumbers(line, *kind, rest);
    return {kind, bypassed, {}};
}

std::string fileStageLine(const std::string &path, int firstChannel) {
    const std::string flags = std::to_string(usualFileFlags + channelFlag * firstChannel);
    if (path.find('"') == std::string::npos)
        return "FILELDR \"" + path + "\" " + flags;
    if (path.find('\'') == std::string::npos)
        return "FILELDR '" + path + "' " + flags;
    throw Problem(path + ": a name with both kinds of quotes can't be loaded");
}

} // namespace tonvale::workbench
