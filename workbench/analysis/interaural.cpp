#include "workbench/analysis/interaural.h"

#include <algorithm>
#include <cmath>

namespace tonvale::workbench {

namespace {

constexpr double earlyPart = 0.08;
constexpr double largestLag = 0.001;

/// Four sums at once, for the processor's sake.
double product(const double *a, const double *b, size_t count) {
    double sums[4] = {};
    size_t i = 0;
    for (; i + 4 <= count; i += 4) {
        for (size_t k = 0; k < 4; ++k)
            sums[k] += a[i + k] * b[i + k];
    }
    for (; i < count; ++i)
        sums[0] += a[i] * b[i];
    return sums[0] + sums[1] + sums[2] + sums[3];
}

std::optional<double> likeness(std::span<const double> left, std::span<const double> right,
                               size_t lags) {
    const size_t count = left.size();
    const double energies =
        product(left.data(), left.data(), count) * product(right.data(), right.data(), count);
    if (!(energies > 0) || !std::isfinite(energies))
        return std::nullopt;
    double largest = 0;
    for (size_t lag = 0; lag <= std::min(lags, count - 1); ++lag) {
        largest = std::max({largest, std::fabs(product(&left[lag], right.data(), count - lag)),
                            std::fabs(product(left.data(), &right[lag], count - lag))});
    }
    return std::min(largest / std::sqrt(energies), 1.0);
}

} // namespace

Interaural interaural(std::span<const double> left, const ChannelFigures &leftFigures,
                      std::span<const double> right, const ChannelFigures &rightFigures,
                      double rate) {
    if (!leftFigures.start || !rightFigures.start)
        return {};
    const size_t start = std::min(*leftFigures.start, *rightFigures.start);
    const size_t split =
        std::min(start + static_cast<size_t>(std::lround(earlyPart * rate)), left.size());
    const size_t end = std::min(leftFigures.decay.knee, rightFigures.decay.knee);
    const auto lags = static_cast<size_t>(largestLag * rate);
    Interaural found;
    found.early =
        likeness(left.subspan(start, split - start), right.subspan(start, split - start), lags);
    if (end > split)
        found.late =
            likeness(left.subspan(split, end - split), right.subspan(split, end - split), lags);
    return found;
}

} // namespace tonvale::workbench
