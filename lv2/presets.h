#pragma once

#include <span>

namespace tonvale::lv2 {

/// A generated space.
struct Preset {
    const char *id;
    const char *name;
    const char *comment;
    double wet; ///< dB
    double dry;
    const char *chain;
};

std::span<const Preset> presets();

} // namespace tonvale::lv2
