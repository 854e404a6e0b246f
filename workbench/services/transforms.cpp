#include "workbench/services/transforms.h"

#include "workbench/services/transform_wisdom.h"

#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fftw3.h>
#include <memory>
#include <mutex>
#include <numbers>
#include <numeric>
#include <vector>

namespace tonvale::workbench {

namespace {

constexpr int smallestSize = 32;
constexpr int largestSize = 32768;

/// A real transform runs on the complex one of half its size.
constexpr int smallestPlan = smallestSize / 2;
constexpr int firstPlan = std::countr_zero(static_cast<unsigned>(smallestPlan));
constexpr int planSizes = std::countr_zero(static_cast<unsigned>(largestSize)) - firstPlan + 1;

bool isOffered(int n) {
    return n >= smallestSize && n <= largestSize && std::has_single_bit(static_cast<unsigned>(n));
}

/// The plans of one size: [inverse][unaligned].
using PlanSet = std::array<std::array<fftw_plan, 2>, 2>;

/// Process-wide: written by prepareTransforms under its lock, read-only once `ready` is set. Plans
/// live as long as the process, since a transform may be running on any thread to its end.
struct Transforms {
    std::array<PlanSet, planSizes> plans{};
    /// e^(-2 pi i k / largestSize) for the first half of the circle.
    std::vector<double> circle;
    std::atomic<bool> ready = false;
};

Transforms &transforms() {
    static auto *instance = new Transforms;
    return *instance;
}

/// Makes one plan; answers whether it had to be measured. Memory of the ordinary allocator is
/// aligned, so what lies elsewhere isn't worth doubling the seconds that measuring takes.
bool plan(fftw_plan &out, fftw_complex *points, int n, int inverse, int unaligned) {
    const int sign = inverse ? FFTW_BACKWARD : FFTW_FORWARD;
    if (unaligned) {
        out = fftw_plan_dft_1d(n, points, points, sign, FFTW_ESTIMATE | FFTW_UNALIGNED);
        return false;
    }
    out = fftw_plan_dft_1d(n, points, points, sign, FFTW_MEASURE | FFTW_WISDOM_ONLY);
    if (out)
        return false;
    out = fftw_plan_dft_1d(n, points, points, sign, FFTW_MEASURE);
    return true;
}

bool planAll(Transforms &all) {
    const std::unique_ptr<fftw_complex, void (*)(void *)> points(fftw_alloc_complex(largestSize),
                                                                 fftw_free);
    if (!points)
        return false;
    bool measured = false;
    for (int size = 0; size < planSizes; ++size) {
        for (int inverse = 0; inverse < 2; ++inverse) {
            for (int unaligned = 0; unaligned < 2; ++unaligned) {
                measured |= plan(all.plans[static_cast<size_t>(size)][static_cast<size_t>(inverse)]
                                          [static_cast<size_t>(unaligned)],
                                 points.get(), smallestPlan << size, inverse, unaligned);
            }
        }
    }
    return measured;
}

void fillCircle(std::vector<double> &circle) {
    circle.resize(largestSize);
    for (size_t k = 0; k < largestSize / 2; ++k) {
        const double angle = -2.0 * std::numbers::pi * static_cast<double>(k) / largestSize;
        circle[2 * k] = std::cos(angle);
        circle[2 * k + 1] = std::sin(angle);
    }
}

void execute(const Transforms &all, double *points, int n, int inverse) {
    const auto size = static_cast<size_t>(std::countr_zero(static_cast<unsigned>(n)) - firstPlan);
    const size_t unaligned = fftw_alignment_of(points) == 0 ? 0 : 1;
    const fftw_plan chosen = all.plans[size][inverse ? 1 : 0][unaligned];
    auto *complexPoints = reinterpret_cast<fftw_complex *>(points);
    if (chosen)
        fftw_execute_dft(chosen, complexPoints, complexPoints);
}

/// Turns the spectrum Z of the complex signal x[2k] + i x[2k + 1], m points, into the spectrum X of
/// x up to bin m, with X[m] in the imaginary part of X[0]. With even part E[k] = (Z[k] + Z*[m-k]) /
/// 2 and odd part O[k] = (Z[k] - Z*[m-k]) / 2i: X[k] = E[k] + e^(-i pi k / m) O[k], and X[m-k] =
/// (E[k] - e^(-i pi k / m) O[k])*.
void separate(double *z, int m, const double *circle) {
    const double first = z[0];
    z[0] = first + z[1];
    z[1] = first - z[1];
    const int stride = largestSize / (2 * m);
    for (int k = 1; k <= m / 2; ++k) {
        double *a = z + 2 * k;
        double *b = z + 2 * (m - k);
        const double evenRe = 0.5 * (a[0] + b[0]), evenIm = 0.5 * (a[1] - b[1]);
        const double oddRe = 0.5 * (a[1] + b[1]), oddIm = 0.5 * (b[0] - a[0]);
        const double re = circle[2 * k * stride], im = circle[2 * k * stride + 1];
        const double turnedRe = oddRe * re - oddIm * im, turnedIm = oddRe * im + oddIm * re;
        a[0] = evenRe + turnedRe;
        a[1] = evenIm + turnedIm;
        b[0] = evenRe - turnedRe;
        b[1] = turnedIm - evenIm;
    }
}

} // namespace

void prepareTransforms() {
    static std::mutex lock;
    Transforms &all = transforms();
    std::scoped_lock scope(lock);
    if (all.ready.load(std::memory_order_acquire))
        return;
    fftw_import_wisdom_from_string(readWisdom().c_str());
    if (planAll(all)) {
        if (const std::unique_ptr<char, void (*)(void *)> wisdom(fftw_export_wisdom_to_string(),
                                                                 std::free);
            wisdom)
            writeWisdom(wisdom.get());
    }
    fillCircle(all.circle);
    all.ready.store(true, std::memory_order_release);
}

void fft(double *points, int n, int inverse) {
    const Transforms &all = transforms();
    if (points && isOffered(n) && all.ready.load(std::memory_order_acquire))
        execute(all, points, n, inverse);
}

void fftReal(double *values, int n, int inverse) {
    const Transforms &all = transforms();
    if (!values || !isOffered(n) || inverse || !all.ready.load(std::memory_order_acquire))
        return;
    execute(all, values, n / 2, 0);
    separate(values, n / 2, all.circle.data());
}

const int *fftPermutation(int pairs) {
    // Bins are in natural order, so one table serves every size.
    static const auto natural = [] {
        std::array<int, largestSize> table{};
        std::iota(table.begin(), table.end(), 0);
        return table;
    }();
    if (pairs < smallestPlan || pairs > largestSize ||
        !std::has_single_bit(static_cast<unsigned>(pairs)))
        return nullptr;
    return natural.data();
}

} // namespace tonvale::workbench
