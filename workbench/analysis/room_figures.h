#pragma once

#include "workbench/analysis/decay_curve.h"
#include "workbench/analysis/octave_filters.h"

#include <optional>
#include <span>
#include <vector>

namespace tonvale::workbench {

/// What ISO 3382-1 tells of a decay. Nothing where the noise doesn't allow a figure, or where it
/// has no value.
struct RoomFigures {
    std::optional<double> hz;             ///< nominal; nothing for the broadband
    std::optional<double> edt, t20, t30;  ///< seconds, of a fall by 60 dB
    std::optional<double> c50, c80;       ///< dB
    std::optional<double> d50;            ///< 0 to 1
    std::optional<double> centreTime;     ///< seconds
    std::optional<double> impulseToNoise; ///< dB
    std::optional<double> noise;          ///< power, where it shows
    std::optional<DecayCurve::Fit> line;  ///< of t30, else t20
    double energy = 0;                    ///< all of the response's
};

struct ChannelFigures {
    Decay decay;                 ///< broadband
    std::optional<size_t> start; ///< sample of the direct sound
    double peak = 0;
    std::vector<RoomFigures> bands; ///< the broadband first
};

/// Figures of a channel, broadband and in these bands. The start is that of the broadband in all.
ChannelFigures analyseChannel(std::span<const double> samples, double rate,
                              std::span<const Band> bands);

} // namespace tonvale::workbench
