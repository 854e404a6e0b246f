#include "workbench/analysis/decay_curve.h"

#include "workbench/analysis/line.h"

#include <algorithm>

namespace tonvale::workbench {

namespace {

constexpr double wholeFall = 60;
constexpr size_t leastPoints = 4;

} // namespace

std::optional<DecayCurve::Fit> DecayCurve::fit(double from, double to) const {
    const auto passes = [&](auto start, double level) {
        return std::find_if(start, levels.end(), [=](double x) { return x <= level; });
    };
    const auto first = passes(levels.begin(), from);
    const auto last = passes(first, to);
    if (last == levels.end() || last - first < static_cast<std::ptrdiff_t>(leastPoints))
        return std::nullopt;
    Line line;
    for (auto point = first; point <= last; ++point)
        line.add(static_cast<double>(point - levels.begin()) / rate, *point);
    if (!(line.slope() < 0))
        return std::nullopt;
    return Fit{-wholeFall / line.slope(), line.at(0)};
}

DecayCurve decayCurve(std::span<const double> samples, double rate, size_t start,
                      const Decay &decay) {
    DecayCurve curve;
    curve.rate = rate;
    if (start >= decay.knee)
        return curve;
    curve.levels.resize(decay.knee - start);
    double left = decay.hiddenEnergy();
    for (size_t i = decay.knee; i-- > start;) {
        left += samples[i] * samples[i] - decay.noise;
        curve.levels[i - start] = left;
    }
    curve.energy = left;
    for (double &level : curve.levels)
        level = powerDb(level / left);
    return curve;
}

} // namespace tonvale::workbench
