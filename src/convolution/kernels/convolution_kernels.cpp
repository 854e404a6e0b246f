#include "convolution/kernels/convolution_kernels.h"

#include <atomic>

namespace tonvale {

namespace {

const ConvolutionKernels baseline{baselineSpectrumKernels, baselineSampleKernels};

const ConvolutionKernels &kernelsOf(KernelBuild build) {
#if defined(__x86_64__)
    static const ConvolutionKernels avx2{avx2SpectrumKernels, avx2SampleKernels};
    if (build == KernelBuild::best && __builtin_cpu_supports("avx2"))
        return avx2;
#endif
    static_cast<void>(build);
    return baseline;
}

/// Module-wide: made at the first use, and changed by tests alone.
std::atomic<const ConvolutionKernels *> &chosenKernels() {
    static std::atomic<const ConvolutionKernels *> chosen{&kernelsOf(KernelBuild::best)};
    return chosen;
}

} // namespace

const ConvolutionKernels &convolutionKernels() {
    return *chosenKernels().load(std::memory_order_relaxed);
}

void chooseKernelBuild(KernelBuild build) {
    chosenKernels() = &kernelsOf(build);
}

} // namespace tonvale
