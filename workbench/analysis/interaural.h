#pragma once

#include "workbench/analysis/room_figures.h"

#include <optional>
#include <span>

namespace tonvale::workbench {

/// How alike two ears hear, 0 to 1, after ISO 3382-1: the largest magnitude of the normalised
/// cross-correlation over lags of 1 ms either way.
struct Interaural {
    std::optional<double> early; ///< of the first 80 ms
    std::optional<double> late;  ///< from there to where the first of both sinks into the noise
};

/// Both parts begin at the earlier start of the two channels, which are equally long. Nothing where
/// a channel has no start or a part no energy.
Interaural interaural(std::span<const double> left, const ChannelFigures &leftFigures,
                      std::span<const double> right, const ChannelFigures &rightFigures,
                      double rate);

} // namespace tonvale::workbench
