#include "convolution/kernels/convolution_kernels.h"
#include "workbench/services/transforms.h"

#include <benchmark/benchmark.h>
#include <numeric>
#include <vector>

// The loops in which a convolution spends its time, in either build (0 baseline, 1 best).

namespace tonvale::bench {
namespace {

using Doubles = std::vector<double>;
using Floats = std::vector<float>;

void chooseBuild(benchmark::State &state) {
    const bool best = state.range(1) != 0;
    chooseKernelBuild(best ? KernelBuild::best : KernelBuild::baseline);
    workbench::restrictTransforms(best ? workbench::Instructions::best
                                       : workbench::Instructions::baseline);
}

template <int inverse>
void transform(benchmark::State &state) {
    workbench::prepareTransforms();
    chooseBuild(state);
    const auto n = static_cast<int>(state.range(0));
    Doubles points(static_cast<size_t>(2 * n));
    for (auto _ : state)
        workbench::fft(points.data(), n, inverse);
}

/// Bins in runs, as most hosts have them: group g from 4 g on, its mirrored bins from the end.
struct Layout {
    explicit Layout(int points)
        : places(static_cast<size_t>(points)) {
        for (int g = 0; g < points / 8; ++g) {
            places[static_cast<size_t>(groupSize * g)] = 4 * g;
            places[static_cast<size_t>(groupSize * g + 4)] = points - 1 - 4 * g;
        }
        layout = {places.data(), points / 8, points / 8, nullptr};
    }
    std::vector<int32_t> places;
    SpectrumLayout layout;
};

void multiplyShort(benchmark::State &state) {
    chooseBuild(state);
    const auto n = static_cast<int>(state.range(0));
    constexpr int parts = 16;
    const Layout layout(n);
    const auto plane = static_cast<size_t>(n) * parts;
    Doubles points(static_cast<size_t>(2 * n)), history(2 * plane);
    Floats response(2 * plane);
    const ShortProduct product{.history = {history.data(), history.data() + plane},
                               .response = {response.data(), response.data() + plane},
                               .slots = parts,
                               .parts = parts,
                               .newest = 0,
                               .firstAge = 0,
                               .endAge = parts,
                               .firstPart = 0,
                               .fresh = true};
    for (auto _ : state)
        convolutionKernels().spectrum.multiplyShort(layout.layout, product, points.data());
}

void sumHistory(benchmark::State &state) {
    chooseBuild(state);
    const auto parts = static_cast<int32_t>(state.range(0));
    constexpr int32_t groups = 4096;
    const auto spectrum = static_cast<size_t>(groups * groupSize);
    const auto stored = static_cast<size_t>(parts + turnsAPass);
    Doubles history(2 * spectrum * static_cast<size_t>(parts)), fresh(2 * spectrum * turnsAPass),
        sums(fresh.size());
    Floats response(2 * spectrum * stored), newest(2 * spectrum * turnsAPass);
    LongProduct product{};
    for (size_t i = 0; i < 2; ++i) {
        product.history[i] = history.data() + i * history.size() / 2;
        product.response[i] = response.data() + i * response.size() / 2;
        product.newest[i] = newest.data() + i * newest.size() / 2;
        product.fresh[i] = fresh.data() + i * fresh.size() / 2;
        product.sums[i] = sums.data() + i * sums.size() / 2;
    }
    product.slots = parts - 1;
    product.parts = parts + turnsAPass;
    product.groups = groups;
    product.ages = product.slots;
    for (auto _ : state)
        convolutionKernels().spectrum.sumHistory(product, 0, groups);
}

void convolve(benchmark::State &state) {
    chooseBuild(state);
    const auto frames = static_cast<int32_t>(state.range(0));
    constexpr int32_t taps = 64;
    Doubles tap(4 * taps), input(static_cast<size_t>(2 * (frames + taps))),
        sums(static_cast<size_t>(2 * frames));
    for (auto _ : state)
        convolutionKernels().sample.convolve(tap.data(), taps, 2, input.data() + 2 * taps,
                                             sums.data(), 2 * frames);
}

const std::vector<int64_t> builds{0, 1};
BENCHMARK(transform<0>)->Name("transform")->ArgsProduct({{64, 128, 2048, 32768}, builds});
BENCHMARK(transform<1>)->Name("inverse")->ArgsProduct({{64, 128, 2048, 32768}, builds});
BENCHMARK(multiplyShort)->ArgsProduct({{128, 2048}, builds});
BENCHMARK(sumHistory)->ArgsProduct({{15, 60}, builds});
BENCHMARK(convolve)->ArgsProduct({{16, 64, 256}, builds});

} // namespace
} // namespace tonvale::bench

BENCHMARK_MAIN();
