#include "workbench/analysis/room_figures.h"

#include "workbench/analysis/direct_sound.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tonvale::workbench {

namespace {

// The least that a decay must stand above its noise, or above where the file cuts it.
constexpr double rangeForT30 = 45;
constexpr double rangeForT20 = 35;
constexpr double rangeForOthers = 20;

// The decay's line is taken down to this far above the noise.
constexpr double lineMargin = 10;
constexpr double leastLine = 5;
constexpr double lineTop = -5;

// A filter that starts at the end of the file takes that many periods of its bandwidth to swing in.
constexpr double settling = 1.5;

constexpr double earlySpeech = 0.05;
constexpr double earlyMusic = 0.08;

/// One band of a channel from the direct sound on.
class BandAnalysis {
  public:
    BandAnalysis(std::span<const double> channel, size_t start, double sampleRate,
                 const std::optional<Band> &band)
        : samples(channel.subspan(start))
        , rate(sampleRate) {
        if (!band) {
            decay = findDecay(samples, rate);
            curve = decayCurve(samples, rate, 0, decay);
            return;
        }
        filter = BandFilter(*band, rate);
        const double bandwidth = band->high - band->low;
        const auto swing = static_cast<size_t>(settling / bandwidth * rate);
        const std::vector<double> filtered = filter.backwards(channel);
        const auto heard = std::span(filtered).subspan(start);
        const auto used = heard.first(heard.size() - std::min(swing, heard.size() / 4));
        decay = findDecay(used, rate, bandwidth);
        curve = decayCurve(used, rate, 0, decay);
    }

    RoomFigures figures() const {
        RoomFigures found;
        if (decay.showsNoise)
            found.noise = decay.noise;
        if (!(decay.fall > 0) || !(curve.energy > 0) || !std::isfinite(curve.energy))
            return found;
        found.energy = curve.energy;
        const double range = rangeAbove(decay.showsNoise ? decay.noise : decay.kneePower);
        if (!std::isfinite(range))
            return found;
        if (decay.showsNoise)
            found.impulseToNoise = range;
        if (range < rangeForOthers)
            return found;
        found.edt = seconds(curve.fit(0, -10));
        if (range >= rangeForT20)
            found.line = curve.fit(-5, -25);
        found.t20 = seconds(found.line);
        if (range >= rangeForT30)
            found.line = curve.fit(-5, -35);
        if (range >= rangeForT30)
            found.t30 = seconds(found.line);
        addEnergies(found);
        return found;
    }

  private:
    std::span<const double> samples;
    double rate;
    BandFilter filter;
    Decay decay; ///< places from the direct sound on
    DecayCurve curve;

    static std::optional<double> seconds(const std::optional<DecayCurve::Fit> &fit) {
        return fit ? std::optional(fit->seconds) : std::nullopt;
    }

    /// How far the decay's line at the start stands above `power`, dB. A line through the
    /// integrated curve wavers less than one through levels.
    double rangeAbove(double power) const {
        const double hidden = power / decay.fall / curve.energy;
        const double bottom = std::max(-35.0, powerDb(hidden) + lineMargin);
        const auto fit = bottom < lineTop - leastLine ? curve.fit(lineTop, bottom) : std::nullopt;
        if (!fit)
            return powerDb(decay.powerAt(0) / power);
        const double fall = 6 * std::numbers::ln10 / (fit->seconds * rate);
        return fit->level + powerDb(curve.energy * fall / power);
    }

    /// Energy from `place` on without the noise.
    double lateEnergy(size_t place) const {
        if (place >= decay.knee)
            return decay.powerAt(static_cast<double>(place)) / decay.fall;
        const auto late = samples.subspan(place, decay.knee - place);
        return filter.energy(late) - decay.noise * static_cast<double>(late.size()) +
               decay.hiddenEnergy();
    }

    void addEnergies(RoomFigures &found) const {
        const auto split = [&](double time) {
            return std::min(static_cast<size_t>(std::lround(time * rate)), samples.size());
        };
        const auto ratio = [&](double early, double late) -> std::optional<double> {
            if (!(early > 0 && late > 0))
                return std::nullopt;
            return powerDb(early / late);
        };
        const double early = filter.energy(samples.first(split(earlySpeech)));
        const double late = std::max(lateEnergy(split(earlySpeech)), 0.0);
        found.c50 = ratio(early, late);
        if (early + late > 0)
            found.d50 = early / (early + late);
        found.c80 =
            ratio(filter.energy(samples.first(split(earlyMusic))), lateEnergy(split(earlyMusic)));

        const auto knee = static_cast<double>(decay.knee);
        const auto all = filter.moments(samples.first(decay.knee));
        const double hidden = decay.hiddenEnergy();
        const double energy = all.energy - decay.noise * knee + hidden;
        const double first =
            all.first - decay.noise * knee * (knee - 1) / 2 + hidden * (knee + 1 / decay.fall);
        if (energy > 0)
            found.centreTime = std::max(first / energy / rate, 0.0);
    }
};

} // namespace

ChannelFigures analyseChannel(std::span<const double> samples, double rate,
                              std::span<const Band> bands) {
    ChannelFigures figures;
    figures.decay = findDecay(samples, rate);
    figures.start = findDirectSound(samples, figures.decay);
    if (figures.decay.end > 0)
        figures.peak = std::fabs(samples[figures.decay.peak]);
    const auto heard = samples.first(figures.decay.end);
    const auto analyse = [&](const std::optional<Band> &band) {
        RoomFigures found;
        if (figures.start)
            found = BandAnalysis(heard, *figures.start, rate, band).figures();
        if (band)
            found.hz = band->nominal;
        figures.bands.push_back(found);
    };
    analyse(std::nullopt);
    for (const Band &band : bands)
        analyse(band);
    return figures;
}

} // namespace tonvale::workbench
