#pragma once

#include "workbench/analysis/noise_floor.h"

#include <optional>
#include <span>
#include <vector>

namespace tonvale::workbench {

/// The energy that is left of a response at each sample from `start` to its knee, in dB under all
/// of it: M. R. Schroeder, "New method of measuring reverberation time", JASA 37 (1965). The mean
/// power of the noise is taken off (W. T. Chu, JASA 63, 1978), and what the late decay holds behind
/// the knee is added.
struct DecayCurve {
    double rate = 0;
    double energy = 0; ///< all of it, from `start`
    std::vector<double> levels;

    struct Fit {
        double seconds; ///< the time of a fall by 60 dB
        double level;   ///< of the line at the start
    };
    /// The straight line from where the curve first passes `from` to where it first passes `to`,
    /// dB; nothing where it doesn't get there.
    std::optional<Fit> fit(double from, double to) const;
};

DecayCurve decayCurve(std::span<const double> samples, double rate, size_t start,
                      const Decay &decay);

} // namespace tonvale::workbench
