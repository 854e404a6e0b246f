#include "convolution/convolution_engine.h"
#include "convolution/convolution_engine_div.h"
#include "test_host/effect_driver.h"
#include "workbench/services/transforms.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

// What can't be seen from outside the plug-in. The sound itself is also held against direct
// convolution through the whole effect.

namespace tonvale::test {
namespace {

/// Transforms since it was set to 0, by the logarithm of their points.
int transforms[20] = {};
void (*hostTransform)(double *, int, int) = nullptr;

void countedTransform(double *points, int n, int inverse) {
    ++transforms[__builtin_ctz(static_cast<unsigned>(n))];
    hostTransform(points, n, inverse);
}

int countedTransforms() {
    int sum = 0;
    for (int &count : transforms)
        sum += std::exchange(count, 0);
    return sum;
}

/// With bins in natural order, as a host may have them.
void naturalTransform(double *points, int n, int inverse) {
    std::vector<double> sorted(static_cast<size_t>(2 * n));
    const int *place = workbench::fftPermutation(n);
    if (!inverse)
        workbench::fft(points, n, 0);
    for (int k = 0; k < n; ++k)
        std::copy_n(points + 2 * (inverse ? k : place[k]), 2,
                    sorted.data() + 2 * (inverse ? place[k] : k));
    std::ranges::copy(sorted, points);
    if (inverse)
        workbench::fft(points, n, 1);
}

struct Engines : testing::Test {
    Engines() {
        loadTestHost();
        hostTransform = hostFunctions.ZUB_fft_8;
        hostFunctions.ZUB_fft_8 = countedTransform;
    }
    ~Engines() override {
        hostFunctions.ZUB_fft_8 = hostTransform;
        chooseKernelBuild(KernelBuild::best);
    }
};

void load(ImpulseBuffer &impulse, const Channels &channels) {
    impulse.setNumChannels(static_cast<int32_t>(channels.size()), false);
    impulse.setLength(static_cast<int32_t>(channels[0].size()));
    for (size_t c = 0; c < channels.size(); ++c)
        std::ranges::copy(channels[c], impulse.getChannel(static_cast<int32_t>(c)));
}

/// Gives the engine `count` samples from `from` on and appends all that is ready then to `output`.
template <class Engine>
void run(Engine &engine, const Channels &input, size_t from, size_t count, Channels &output) {
    std::vector<const double *> sources;
    for (const auto &channel : input)
        sources.push_back(channel.data() + from);
    engine.addSamples(sources.data(), static_cast<int32_t>(count),
                      static_cast<int32_t>(input.size()));
    const int32_t ready = engine.samplesAvailable(static_cast<int32_t>(count));
    double *const *places = engine.outputPointers(ready);
    output.resize(input.size());
    for (size_t c = 0; ready > 0 && c < input.size(); ++c)
        output[c].insert(output[c].end(), places[c], places[c] + ready);
    engine.advanceOutput(ready);
}

template <class Engine>
Channels runAll(
    Engine &engine, const Channels &input,
    const std::function<int32_t()> &nextBlock = [] { return INT32_MAX; }) {
    Channels output;
    for (size_t done = 0, count = 0; done < input[0].size(); done += count) {
        count = std::min(static_cast<size_t>(nextBlock()), input[0].size() - done);
        run(engine, input, done, count, output);
    }
    return output;
}

/// At some places.
double errorOf(const Channels &output, const Channels &input, const Channels &taps) {
    return convolutionError(output, input, taps, 0, 1 + taps[0].size() / 200);
}

TEST_F(Engines, ReportTheLatencyThatLengthAndLimitCallFor) {
    // Length of the response, transform length asked for, latency.
    constexpr int32_t uniform[][3] = {{0, 0, 16},        {16, 0, 16},      {17, 0, 32},
                                      {1000, 0, 1024},   {1000, -16, 16},  {1000, -15, 1024},
                                      {1000, -300, 512}, {1000, 256, 128}, {1000, INT32_MIN, 1024},
                                      {100000, 0, 16384}};
    ImpulseBuffer impulse;
    for (const auto &[length, fftSize, latency] : uniform) {
        load(impulse, {noise(static_cast<size_t>(length), 1)});
        ConvolutionEngine engine;
        EXPECT_EQ(engine.setImpulse(impulse, fftSize, 0, 0, false), latency) << length;
        EXPECT_EQ(engine.setImpulse(impulse, fftSize, 0, 0, true), 0);
    }
    ConvolutionEngineDiv divided;
    for (const auto &[allowed, latency] :
         {std::pair{0, 0}, {1, 32}, {33, 32}, {256, 256}, {1000, 512}, {INT32_MAX, 16384}, {-1, 0}})
        EXPECT_EQ(divided.setImpulse(impulse, 0, 0, 0, 0, allowed), latency) << allowed;
}

TEST_F(Engines, HoldSamplesBackUntilTheirChunkIsComplete) {
    ImpulseBuffer impulse;
    load(impulse, {noise(700, 1)});
    ConvolutionEngine engine;
    engine.setImpulse(impulse, 512, 0, 0, false);
    Channels output;
    run(engine, {noise(100, 2)}, 0, 100, output);
    EXPECT_EQ(output[0].size(), 0u);
    engine.addSamples(nullptr, 156, 1);
    EXPECT_EQ(engine.samplesAvailable(156), 256);
    EXPECT_NE(engine.outputPointers(256)[0], nullptr);
    EXPECT_EQ(engine.outputPointers(257)[0], nullptr);

    ConvolutionEngineDiv divided;
    EXPECT_EQ(divided.setImpulse(impulse, 0, 0, 0, 0, 256), 256);
    for (const size_t ready : {0, 128, 128, 128}) {
        output.clear();
        run(divided, {noise(128, 2)}, 0, 128, output);
        EXPECT_EQ(output[0].size(), ready);
    }
}

TEST_F(Engines, PassTheInputThroughWithoutAResponse) {
    const Channels input = noiseChannels(2, 300, 1);
    ImpulseBuffer tooShort;
    load(tooShort, {noise(100, 1)});
    ConvolutionEngine plain;
    EXPECT_EQ(runAll(plain, input), input);
    for (const bool direct : {false, true}) {
        plain.setImpulse(ImpulseBuffer(), 0, 0, 0, direct);
        EXPECT_EQ(runAll(plain, input), input);
        plain.setImpulse(tooShort, 64, 100, 0, direct);
        EXPECT_EQ(runAll(plain, input), input);
    }
    ConvolutionEngineDiv divided;
    divided.setImpulse(tooShort, 0, 0, 0, INT32_MAX, 0);
    EXPECT_EQ(runAll(divided, input), input);
}

TEST_F(Engines, SoundLikeFreshOnesAfterAReset) {
    const Channels input = noiseChannels(2, 3000, 1), before = noiseChannels(2, 777, 5);
    ImpulseBuffer impulse;
    load(impulse, noiseChannels(2, 50000, 3));
    const auto expectFresh = [&](auto &&used, auto &&fresh, auto... settings) {
        used.setImpulse(impulse, settings...);
        fresh.setImpulse(impulse, settings...);
        runAll(used, before);
        used.resetState();
        const Channels again = runAll(used, input);
        EXPECT_GT(again[0].size(), 0u);
        EXPECT_EQ(again, runAll(fresh, input));
    };
    expectFresh(ConvolutionEngine(), ConvolutionEngine(), 512, 0, 0, false);
    expectFresh(ConvolutionEngine(), ConvolutionEngine(), 512, 0, 0, true);
    expectFresh(ConvolutionEngineDiv(), ConvolutionEngineDiv(), 0, 0, 0, 0, 0);
}

/// Stretches of one length, some of them as long as chunks, which come in line and out of it.
std::function<int32_t()> changingBlocks(uint32_t seed) {
    return [random = std::mt19937(seed), block = 64, left = 0]() mutable {
        constexpr int32_t lengths[] = {1, 37, 64, 63, 65, 100, 256, 480, 1024, 1024, 2048, 4096};
        if (left-- < 1) {
            block = lengths[random() % std::size(lengths)];
            left = static_cast<int>(random() % 30);
        }
        return block;
    };
}

/// The response's length, the channels, how many the engine expects, the largest transform.
struct Case {
    size_t length;
    size_t channels;
    int32_t expected;
    int32_t largestFft;
};

class EveryHost : public Engines, public testing::WithParamInterface<Case> {};

TEST_P(EveryHost, EqualDirectConvolutionWhateverTheOrderOfBinsWithTheSameBitsOnEveryProcessor) {
    const Case c = GetParam();
    const Channels response = noiseChannels(2, c.length, 100),
                   input = noiseChannels(c.channels, 70000, 1);
    ImpulseBuffer impulse;
    load(impulse, response);
    const auto play = [&](bool zeroLatency) {
        if (zeroLatency) {
            ConvolutionEngineDiv engine;
            engine.setImpulse(impulse, c.largestFft / 2, 0, 0, 0, 0, c.expected);
            return runAll(engine, input, changingBlocks(1));
        }
        ConvolutionEngine engine;
        engine.setImpulse(impulse, -c.largestFft / 2, 0, 0, false, c.expected);
        return runAll(engine, input, changingBlocks(1));
    };
    const PermutedTransform permuted;
    const auto shuffled = hostFunctions.ZUB_fft_8;
    for (const bool zeroLatency : {true, false}) {
        for (const auto transform : {hostTransform, naturalTransform, shuffled}) {
            hostFunctions.ZUB_fft_8 = transform;
            chooseKernelBuild(KernelBuild::best);
            const Channels output = play(zeroLatency);
            EXPECT_LT(errorOf(output, input, response), -150.0) << zeroLatency;
            chooseKernelBuild(KernelBuild::baseline);
            EXPECT_EQ(play(zeroLatency), output);
        }
    }
    hostFunctions.ZUB_fft_8 = shuffled;
}

INSTANTIATE_TEST_SUITE_P(Cases, EveryHost,
                         testing::Values(Case{700, 2, 2, 32768}, Case{5000, 1, 0, 64},
                                         Case{5000, 3, 0, 32}, Case{40000, 3, 2, 2048},
                                         Case{100000, 2, 2, 32768}, Case{100000, 2, 0, 4096}));

TEST_F(Engines, RestInSilenceAndForgetWhatIsNoNumber) {
    const Channels response = noiseChannels(2, 40000, 1);
    ImpulseBuffer impulse;
    load(impulse, response);
    const auto check = [&](auto &&engine, auto... settings) {
        engine.setImpulse(impulse, settings...);
        Channels input = noiseChannels(2, 5000, 3);
        for (auto &channel : input)
            channel.resize(300000);
        const auto blocks = [] { return 256; };
        const Channels output = runAll(engine, input, blocks);
        EXPECT_LT(errorOf(output, input, response), -150.0);
        const Channels silence(2, std::vector<double>(100000));
        countedTransforms();
        runAll(engine, silence, blocks);
        EXPECT_EQ(countedTransforms(), 0);

        Channels broken = noiseChannels(2, 1000, 5);
        broken[0][10] = NAN;
        broken[1][700] = -INFINITY;
        runAll(engine, broken, blocks);
        for (const auto &channel : runAll(engine, noiseChannels(2, 90000, 7), blocks))
            for (const double sample : channel)
                ASSERT_TRUE(std::isfinite(sample));
    };
    check(ConvolutionEngineDiv(), 0, 0, 0, 0, 0);
    check(ConvolutionEngineDiv(), 1024, 0, 0, 0, 0);
    check(ConvolutionEngine(), 2048, 0, 0, false);
    check(ConvolutionEngine(), 32768, 0, 0, false);
}

TEST_F(Engines, NeverTransformTheLongChunksOfTwoChannelsInOneBlock) {
    ImpulseBuffer impulse;
    load(impulse, noiseChannels(2, 100000, 1));
    const Channels input = noiseChannels(8, 80000, 3);
    const auto check = [&](auto &&engine, int32_t latency) {
        Channels output;
        int most = 0, all = 0;
        for (size_t done = 0; done + 64 <= input[0].size(); done += 64) {
            std::fill(std::begin(transforms), std::end(transforms), 0);
            run(engine, input, done, 64, output);
            most = std::max(most, transforms[14]);
            all += transforms[14];
            // What is due is there all the same.
            ASSERT_GE(static_cast<int64_t>(output[0].size()) + latency,
                      static_cast<int64_t>(done + 64));
        }
        EXPECT_EQ(most, 2) << "there and back";
        EXPECT_GE(all, 8 * 2 * 4);
    };
    ConvolutionEngineDiv divided;
    check(divided, divided.setImpulse(impulse, 0, 0, 0, 0, 0));
    ConvolutionEngine uniform;
    check(uniform, uniform.setImpulse(impulse, 32768, 0, 0, false));
}

TEST_F(Engines, AreSilentOrStopWhereMemoryFails) {
    const Channels input = noiseChannels(2, 6400, 2), response = noiseChannels(1, 3000, 1);
    ImpulseBuffer impulse;
    load(impulse, response);
    const auto check = [&](auto make, auto... settings) {
        for (int granted = 0, refused = 1; refused > 0; ++granted) {
            auto engine = make();
            Channels output;
            {
                const AllocationLimit limit(granted);
                engine->setImpulse(impulse, settings...);
                const double *sources[] = {input[0].data(), input[1].data()};
                engine->addSamples(sources, 6400, 2);
                engine->samplesAvailable(6400);
                refused = limit.refused();
            }
            double *const *places = engine->outputPointers();
            for (int32_t c = 0; places && c < 2 && places[c]; ++c) {
                const std::vector<double> got(places[c], places[c] + engine->samplesReady(c));
                if (std::ranges::any_of(got, [](double sample) { return sample != 0.0; })) {
                    EXPECT_LT(errorOf({got}, {input[static_cast<size_t>(c)]}, response), -150.0);
                }
            }
        }
    };
    check([] { return std::make_unique<ConvolutionEngine>(); }, 128, 0, 0, false);
    check([] { return std::make_unique<ConvolutionEngineDiv>(); }, 0, 0, 0, 0, 0);
}

} // namespace
} // namespace tonvale::test
