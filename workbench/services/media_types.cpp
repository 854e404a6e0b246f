#include "workbench/services/media_types.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <string_view>

namespace tonvale::workbench {

namespace {

using namespace std::string_view_literals;

struct MediaType {
    std::string_view label;
    std::string_view patterns;
};

constexpr MediaType mediaTypes[] = {
    {"WAV files"sv, "*.wav;*.wave;*.bwf;*.w64;*.rf64"sv},
    {"FLAC files"sv, "*.flac"sv},
    {"Ogg files"sv, "*.ogg;*.oga;*.opus"sv},
    {"MP3 files"sv, "*.mp3"sv},
    {"AIFF files"sv, "*.aif;*.aiff;*.aifc"sv},
    {"Other audio files"sv, "*.au;*.snd;*.caf"sv},
};

std::string allPatterns() {
    std::string all;
    for (const MediaType &type : mediaTypes) {
        if (!all.empty())
            all += ';';
        all += type.patterns;
    }
    return all;
}

void addPair(std::string &list, std::string_view label, std::string_view patterns) {
    list.append(label).push_back(0);
    list.append(patterns).push_back(0);
}

std::string makeFilterList() {
    std::string list;
    addPair(list, "Media files", allPatterns());
    for (const MediaType &type : mediaTypes)
        addPair(list, type.label, type.patterns);
    list.push_back(0);
    return list;
}

constexpr size_t longestExtension = 8;

} // namespace

bool isMediaExtension(const char *extension, int) {
    static const std::string known = allPatterns() + ';';
    if (!extension)
        return false;
    const size_t length = strnlen(extension, longestExtension + 1);
    if (length == 0 || length > longestExtension)
        return false;
    std::string wanted(extension, length);
    if (!std::all_of(wanted.begin(), wanted.end(), [](unsigned char c) { return std::isalnum(c); }))
        return false;
    std::transform(wanted.begin(), wanted.end(), wanted.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return known.find("*." + wanted + ';') != std::string::npos;
}

const char *mediaFilterList() {
    static const std::string list = makeFilterList();
    return list.c_str();
}

} // namespace tonvale::workbench
