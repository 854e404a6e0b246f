#include "workbench/cli/sound/speakers.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <vector>

namespace tonvale::workbench {

namespace {

// The library's names of the speakers, in the order of a mask's bits.
constexpr int speakers[] = {
    SF_CHANNEL_MAP_LEFT,
    SF_CHANNEL_MAP_RIGHT,
    SF_CHANNEL_MAP_CENTER,
    SF_CHANNEL_MAP_LFE,
    SF_CHANNEL_MAP_REAR_LEFT,
    SF_CHANNEL_MAP_REAR_RIGHT,
    SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER,
    SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER,
    SF_CHANNEL_MAP_REAR_CENTER,
    SF_CHANNEL_MAP_SIDE_LEFT,
    SF_CHANNEL_MAP_SIDE_RIGHT,
    SF_CHANNEL_MAP_TOP_CENTER,
    SF_CHANNEL_MAP_TOP_FRONT_LEFT,
    SF_CHANNEL_MAP_TOP_FRONT_CENTER,
    SF_CHANNEL_MAP_TOP_FRONT_RIGHT,
    SF_CHANNEL_MAP_TOP_REAR_LEFT,
    SF_CHANNEL_MAP_TOP_REAR_CENTER,
    SF_CHANNEL_MAP_TOP_REAR_RIGHT,
};

/// Formats have several names for one place.
int commonName(int speaker) {
    switch (speaker) {
    case SF_CHANNEL_MAP_MONO:
    case SF_CHANNEL_MAP_FRONT_CENTER:
        return SF_CHANNEL_MAP_CENTER;
    case SF_CHANNEL_MAP_FRONT_LEFT:
        return SF_CHANNEL_MAP_LEFT;
    case SF_CHANNEL_MAP_FRONT_RIGHT:
        return SF_CHANNEL_MAP_RIGHT;
    default:
        return speaker;
    }
}

int byteSize(const std::vector<int> &map) {
    return static_cast<int>(map.size() * sizeof map.front());
}

} // namespace

uint32_t toldSpeakers(SNDFILE *file, int channels) {
    std::vector<int> map(static_cast<size_t>(channels));
    if (sf_command(file, SFC_GET_CHANNEL_MAP_INFO, map.data(), byteSize(map)) != SF_TRUE)
        return 0;
    uint32_t mask = 0;
    for (const int speaker : map) {
        const auto *found =
            std::find(std::begin(speakers), std::end(speakers), commonName(speaker));
        const auto bit = uint32_t{1} << (found - std::begin(speakers));
        // Channels stand in the order of their bits.
        if (found == std::end(speakers) || mask >= bit)
            return 0;
        mask |= bit;
    }
    return mask;
}

void tellSpeakers(SNDFILE *file, const SoundShape &shape) {
    if (std::popcount(shape.speakers) != shape.channels)
        return;
    std::vector<int> map;
    for (size_t bit = 0; bit < std::size(speakers); ++bit) {
        if (shape.speakers >> bit & 1)
            map.push_back(speakers[bit]);
    }
    if (static_cast<int>(map.size()) == shape.channels)
        sf_command(file, SFC_SET_CHANNEL_MAP_INFO, map.data(), byteSize(map));
}

} // namespace tonvale::workbench
