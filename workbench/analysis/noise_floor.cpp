#include "workbench/analysis/noise_floor.h"

#include "workbench/analysis/line.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

namespace tonvale::workbench {

namespace {

constexpr double silence = 1e-8; ///< of the peak
constexpr double leastBlock = 0.03;
constexpr double blockPeriods = 2; ///< of the bandwidth
constexpr size_t leastBlocks = 24; ///< of a whole response
constexpr size_t leastSamples = 48;
constexpr double largestPeak = 1e100; ///< whose square is a number all the same

// Of the length behind the peak: the least that the noise is taken from.
constexpr double noiseShare = 0.1;
// The noise is taken from where the decay lies this far below it.
constexpr double noiseMargin = 10;
// The late decay is taken from this far above the noise, and over this much at most.
constexpr double decayMargin = 7;
constexpr double decayRange = 20;
constexpr size_t lateBlocks = 10;
constexpr int mostTurns = 8;

// A decay that lies no further than this below what is taken for noise is what was taken for it.
constexpr double hidden = 6;

// What falls less over the whole file doesn't fall.
constexpr double leastFall = 3;

constexpr double nepersPerDb = std::numbers::ln10 / 10;

/// The part of the response behind its peak.
class Tail {
  public:
    Tail(std::span<const double> behindPeak, double rate, double bandwidth)
        : samples(behindPeak) {
        const double seconds = std::max(leastBlock, blockPeriods / bandwidth);
        firstBlock = std::clamp(static_cast<size_t>(std::min(seconds * rate, 1e9)), size_t{1},
                                std::max<size_t>(samples.size() / leastBlocks, 1));
    }

    double noisePower() const { return noise; }
    double fallPerSample() const { return fall; }
    double powerAt(double place) const { return start * std::exp(-fall * place); }
    bool falls() const { return fall > 0 && start > 0; }

    void run() {
        noise = noiseFrom(samples.size());
        if (!standsOut())
            return;
        for (int turn = 0; turn < mostTurns && falls(); ++turn) {
            const double before = knee();
            noise = noiseFrom(noiseStart());
            if (!fitLate() || std::fabs(knee() - before) < 1)
                break;
        }
    }

    /// Where the line meets the noise.
    double knee() const {
        const double length = static_cast<double>(samples.size());
        if (!(noise > 0))
            return length;
        return std::clamp(std::log(start / noise) / fall, 0.0, length);
    }

    /// Whether there is noise apart from the decay.
    bool showsNoise() const {
        if (!(noise > 0))
            return false;
        const size_t first = std::min(noiseStart(), lastNoiseStart());
        const double middle = static_cast<double>(first + samples.size()) / 2;
        return !falls() || powerDb(powerAt(middle) / noise) < -hidden;
    }

    /// Takes off what the decay itself still adds to the noise.
    void clearNoise() {
        if (!falls())
            return;
        const auto last = static_cast<double>(samples.size());
        const auto first = static_cast<double>(std::min(noiseStart(), lastNoiseStart()));
        noise -= (powerAt(first) - powerAt(last)) / (fall * (last - first));
    }

    /// Takes the line from the end itself, where no noise tells how far down it goes.
    void fitEnd() {
        noise = 0;
        if (!falls())
            return;
        const double length = static_cast<double>(samples.size());
        fit(std::max(0.0, length - decayRange * nepersPerDb / fall), length);
    }

  private:
    std::span<const double> samples;
    size_t firstBlock;
    double noise = 0;
    double start = 0; ///< power of the line at the peak
    double fall = 0;

    size_t noiseStart() const {
        if (!falls())
            return samples.size();
        const double place = knee() + noiseMargin * nepersPerDb / fall;
        return static_cast<size_t>(std::min(place, static_cast<double>(samples.size())));
    }

    size_t lastNoiseStart() const {
        return static_cast<size_t>(static_cast<double>(samples.size()) * (1 - noiseShare));
    }

    double noiseFrom(size_t place) const {
        return meanPower(samples.subspan(std::min(place, lastNoiseStart())));
    }

    /// Fits the line from the peak to where blocks first come near the noise. False where nothing
    /// stands out: then it is all noise, or a decay that is cut before it falls far.
    bool standsOut() {
        const double least = noise * std::pow(10.0, noiseMargin / 10);
        size_t count = 0;
        while ((count + 1) * firstBlock <= samples.size() &&
               meanPower(samples.subspan(count * firstBlock, firstBlock)) > least)
            ++count;
        if (count > 0) {
            // A steep decay falls within a few blocks: then smaller ones tell more.
            const size_t length = count * firstBlock;
            fitBlocks(0, length,
                      count < lateBlocks ? std::max<size_t>(length / lateBlocks, 1) : firstBlock);
            return true;
        }
        const double taken = std::exchange(noise, 0.0);
        fitBlocks(0, samples.size(), firstBlock);
        if (fall * static_cast<double>(samples.size()) < leastFall * nepersPerDb)
            fall = 0;
        noise = taken;
        return false;
    }

    bool fitLate() {
        const double nearest = std::log(start / noise) - decayMargin * nepersPerDb;
        if (!(nearest > 0))
            return false;
        const double to = std::min(nearest / fall, static_cast<double>(samples.size()));
        return fit(std::max(0.0, to - decayRange * nepersPerDb / fall), to);
    }

    bool fit(double from, double to) {
        const auto first = static_cast<size_t>(from);
        const size_t length = static_cast<size_t>(to) - first;
        return length >= 2 * lateBlocks && fitBlocks(first, length, length / lateBlocks);
    }

    /// The slope is that of the blocks' levels, the height that of their energy: the mean of levels
    /// lies below the level of the mean.
    bool fitBlocks(size_t first, size_t length, size_t block) {
        Line line;
        double energy = 0;
        size_t place = first;
        for (; place + block <= first + length; place += block) {
            const double power = meanPower(samples.subspan(place, block));
            energy += (power - noise) * static_cast<double>(block);
            if (power > noise)
                line.add(static_cast<double>(place) + static_cast<double>(block) / 2,
                         std::log(power - noise));
        }
        const double slope = line.slope();
        if (!(slope < 0) || !(energy > 0))
            return false;
        fall = -slope;
        const double whole = std::exp(-fall * static_cast<double>(first)) -
                             std::exp(-fall * static_cast<double>(place));
        start = energy * fall / whole;
        if (!std::isfinite(start))
            fall = 0;
        return fall > 0;
    }
};

} // namespace

double Decay::powerAt(double place) const {
    return kneePower * std::exp(fall * (static_cast<double>(knee) - place));
}

double meanPower(std::span<const double> samples) {
    const double energy = std::inner_product(samples.begin(), samples.end(), samples.begin(), 0.0);
    return samples.empty() ? 0.0 : energy / static_cast<double>(samples.size());
}

double powerDb(double power) {
    return 10 * std::log10(std::max(power, 1e-40));
}

Decay findDecay(std::span<const double> samples, double rate, double bandwidth) {
    Decay decay;
    const auto smaller = [](double a, double b) { return std::fabs(a) < std::fabs(b); };
    const auto peak = std::max_element(samples.begin(), samples.end(), smaller);
    if (peak == samples.end() || *peak == 0)
        return decay;
    const double threshold = std::fabs(*peak) * silence;
    decay.peak = static_cast<size_t>(peak - samples.begin());
    decay.end = samples.size();
    while (std::fabs(samples[decay.end - 1]) <= threshold)
        --decay.end;
    decay.knee = decay.end;
    const auto behind = samples.subspan(decay.peak, decay.end - decay.peak);
    if (behind.size() < leastSamples || std::fabs(*peak) > largestPeak)
        return decay;

    Tail tail(behind, rate, bandwidth);
    tail.run();
    decay.showsNoise = tail.showsNoise();
    if (decay.showsNoise)
        tail.clearNoise();
    else
        tail.fitEnd();
    decay.noise = tail.noisePower();
    if (!tail.falls()) {
        decay.knee = decay.showsNoise ? decay.peak : decay.end;
        return decay;
    }
    decay.knee = decay.peak + static_cast<size_t>(tail.knee());
    decay.fall = tail.fallPerSample();
    decay.kneePower = tail.powerAt(static_cast<double>(decay.knee - decay.peak));
    return decay;
}

} // namespace tonvale::workbench
