#include "workbench/cli/measuring/drift.h"

#include "measure/complex_transform.h"
#include "workbench/analysis/direct_sound.h"
#include "workbench/services/rate_converter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <new>
#include <numbers>

namespace tonvale::workbench {

namespace {

using Complex = std::complex<double>;

// Seconds that are looked at on both sides of the direct sound: at first with all that a drift can
// draw it apart, then around what came of it alone, so that reflections have no say.
constexpr double firstReach = 0.004;
constexpr double lastReach = 0.0015;
constexpr double lowestHz = 500.0;
constexpr double highestShare = 0.42; // of the rate
constexpr int coarseSteps = 200;      // to either side
constexpr double leastSmear = 0.002;  // seconds
constexpr double fineStep = 0.005;
// By how much the sharpest has to stand above what other drifts give.
constexpr double clearContrast = 2.5;

Complex *pointsOf(const SampleBlock &block) {
    return reinterpret_cast<Complex *>(block.get());
}

SampleBlock zeroPoints(int32_t bits) {
    SampleBlock block = allocatePoints(bits);
    if (!block)
        throw std::bad_alloc();
    std::fill_n(block.get(), size_t{2} << bits, 0.0);
    return block;
}

int32_t bitsFor(size_t length) {
    return std::max(10, static_cast<int32_t>(std::bit_width(std::max<size_t>(length, 2) - 1)));
}

/// When the tone has each pitch, seconds, in `bands` equal bands from 0 Hz to half the rate: its
/// group delay, the real part of the transform of n x[n] over that of x[n], in the mean of a band.
std::vector<double> timesOf(const std::vector<double> &tone, double rate, size_t bands) {
    const int32_t bits = bitsFor(tone.size());
    ComplexTransform transform;
    if (!transform.prepare(bits))
        throw std::bad_alloc();
    const SampleBlock plainBlock = zeroPoints(bits), timedBlock = zeroPoints(bits);
    Complex *const plain = pointsOf(plainBlock), *const timed = pointsOf(timedBlock);
    for (size_t i = 0; i < tone.size(); ++i) {
        plain[i] = tone[i];
        timed[i] = tone[i] * static_cast<double>(i) / rate;
    }
    transform.forward(plainBlock.get());
    transform.forward(timedBlock.get());

    const size_t half = (size_t{1} << bits) / 2;
    std::vector<double> products(bands), powers(bands);
    for (size_t k = 0; k < half; ++k) {
        const size_t band = k * bands / half;
        products[band] += (timed[k] * std::conj(plain[k])).real();
        powers[band] += std::norm(plain[k]);
    }
    for (size_t band = 0; band < bands; ++band)
        products[band] = powers[band] > 0.0 ? products[band] / powers[band] : 0.0;
    return products;
}

/// The direct sound of one channel, ready to be drawn together.
class DirectSound {
  public:
    DirectSound(const std::vector<double> &samples, size_t start, ptrdiff_t reach, double rate,
                const std::vector<double> &toneTimes, int32_t transformBits)
        : bits(transformBits)
        , spectrum(size_t{1} << bits)
        , times(toneTimes)
        , work(zeroPoints(bits))
        , binHz(rate / static_cast<double>(spectrum.size())) {
        if (!transform.prepare(bits))
            throw std::bad_alloc();
        Complex *const points = pointsOf(work);
        for (ptrdiff_t i = -reach; i < reach; ++i) {
            const ptrdiff_t place = static_cast<ptrdiff_t>(start) + i;
            if (place >= 0 && place < static_cast<ptrdiff_t>(samples.size()))
                points[i + reach] = windowAt(i, reach) * samples[static_cast<size_t>(place)];
        }
        transform.forward(work.get());
        const double highest = highestShare * rate;
        for (size_t k = 1; k < spectrum.size() / 2; ++k) {
            const double hz = static_cast<double>(k) * binHz;
            if (hz >= lowestHz && hz <= highest)
                spectrum[k] = points[k];
        }
        reference = times[times.size() / 4];
    }

    /// Of the envelope with this drift undone: the fourth power, whose sum grows as the same energy
    /// comes closer together.
    double sharpness(double ppm) {
        draw(ppm);
        double sum = 0.0;
        for (size_t i = 0; i < spectrum.size(); ++i)
            sum += std::norm(pointsOf(work)[i]) * std::norm(pointsOf(work)[i]);
        return sum;
    }

    /// Keeps what lies within `reach` of the largest sample with this drift undone. Drifts count
    /// from that one from then on.
    void narrow(double ppm, ptrdiff_t reach) {
        draw(ppm);
        Complex *const points = pointsOf(work);
        const auto size = static_cast<ptrdiff_t>(spectrum.size());
        const Complex *const peak =
            std::max_element(points, points + size, [](const Complex &a, const Complex &b) {
                return std::norm(a) < std::norm(b);
            });
        for (ptrdiff_t i = 0; i < size; ++i) {
            const ptrdiff_t away = i - (peak - points);
            points[i] *= std::abs(away) < reach ? windowAt(away, reach) : 0.0;
        }
        transform.forward(work.get());
        std::copy_n(points, spectrum.size() / 2, spectrum.begin());
    }

  private:
    static double windowAt(ptrdiff_t place, ptrdiff_t reach) {
        const double age = static_cast<double>(place) / static_cast<double>(reach);
        return 0.5 + 0.5 * std::cos(std::numbers::pi * age);
    }

    /// The sound with this drift undone, as its analytic signal, into `work`.
    void draw(double ppm) {
        Complex *const points = pointsOf(work);
        std::fill_n(points, spectrum.size(), Complex());
        for (size_t k = 1; k < spectrum.size() / 2; ++k) {
            if (spectrum[k] == Complex())
                continue;
            const double late = (times[k] - reference) * ppm * 1e-6;
            const double angle = 2.0 * std::numbers::pi * static_cast<double>(k) * binHz * late;
            points[k] = spectrum[k] * std::polar(1.0, angle);
        }
        transform.inverse(work.get());
    }

    int32_t bits;
    std::vector<Complex> spectrum;
    const std::vector<double> &times;
    SampleBlock work;
    double binHz;
    double reference = 0.0;
    ComplexTransform transform;
};

} // namespace

std::optional<double> findDrift(const MeasuredSound &response, const MeasuredSound &tone) {
    const double rate = response.rate;
    const auto &loudest = response.channels[loudestChannel(response)];
    const auto start = findDirectSound(loudest, findDecay(loudest, rate));
    if (!start)
        return std::nullopt;
    // A short tone is hardly drawn apart by the clocks that there are; what is clear shows against
    // larger drifts.
    const double seconds = static_cast<double>(tone.length()) / rate;
    const double smear = std::max(largestDrift * 1e-6 * seconds, leastSmear);
    const double coarseStep = smear / seconds * 1e6 / coarseSteps;
    const auto reach = static_cast<ptrdiff_t>((firstReach + smear) * rate);
    const int32_t bits = bitsFor(static_cast<size_t>(4 * reach));
    const auto times = timesOf(tone.channels[0], rate, (size_t{1} << bits) / 2);
    DirectSound direct(loudest, *start, reach, rate, times, bits);

    std::vector<double> sharpness;
    double best = 0.0, most = -1.0;
    for (int i = -coarseSteps; i <= coarseSteps; ++i) {
        const double ppm = i * coarseStep;
        sharpness.push_back(direct.sharpness(ppm));
        if (sharpness.back() > most) {
            most = sharpness.back();
            best = ppm;
        }
    }
    const auto median = sharpness.begin() + static_cast<ptrdiff_t>(sharpness.size() / 2);
    std::nth_element(sharpness.begin(), median, sharpness.end());
    if (!(most > clearContrast * *median) || std::fabs(best) > largestDrift + coarseStep)
        return std::nullopt;
    direct.narrow(best, static_cast<ptrdiff_t>(lastReach * rate));
    double rest = 0.0;
    most = direct.sharpness(rest);
    double step = 2 * coarseStep;
    while (step > fineStep) {
        step /= 2;
        for (const double ppm : {rest - step, rest + step}) {
            const double value = direct.sharpness(ppm);
            if (value > most) {
                most = value;
                rest = ppm;
            }
        }
    }
    return std::clamp(best + rest, -largestDrift, largestDrift);
}

MeasuredSound withoutDrift(const MeasuredSound &recording, double ppm) {
    MeasuredSound mended;
    mended.rate = recording.rate;
    for (const auto &samples : recording.channels) {
        const auto converter =
            createFineConverter(recording.rate * (1.0 + ppm * 1e-6), recording.rate, 1);
        FrameQueue queue;
        queue.clear(1);
        converter->push(samples.data(), samples.size(), queue);
        converter->finish(queue);
        std::vector<double> made(queue.frames());
        queue.take(made.data(), made.size());
        mended.channels.push_back(std::move(made));
    }
    return mended;
}

} // namespace tonvale::workbench
