#include "convolution/convolution_engine.h"
#include "convolution/convolution_engine_div.h"
#include "test_host/effect_driver.h"

#include <cmath>
#include <gtest/gtest.h>

// What can't be seen from outside the plug-in. The sound itself is held against direct convolution
// through the whole effect.

namespace tonvale::test {
namespace {

int transforms = 0;
void (*hostTransform)(double *, int, int) = nullptr;

void countedTransform(double *points, int n, int inverse) {
    ++transforms;
    hostTransform(points, n, inverse);
}

struct Engines : testing::Test {
    Engines() {
        loadTestHost();
        hostTransform = hostFunctions.ZUB_fft_8;
        hostFunctions.ZUB_fft_8 = countedTransform;
    }
    ~Engines() override { hostFunctions.ZUB_fft_8 = hostTransform; }
};

void load(ImpulseBuffer &impulse, const Channels &channels) {
    impulse.setNumChannels(static_cast<int32_t>(channels.size()), false);
    impulse.setLength(static_cast<int32_t>(channels[0].size()));
    for (size_t c = 0; c < channels.size(); ++c)
        std::ranges::copy(channels[c], impulse.getChannel(static_cast<int32_t>(c)));
}

/// Gives the engine a block and answers all that is ready then.
template <class Engine>
Channels run(Engine &engine, const Channels &input) {
    std::vector<const double *> sources;
    for (const auto &channel : input)
        sources.push_back(channel.data());
    const auto length = static_cast<int32_t>(input[0].size());
    engine.addSamples(sources.data(), length, static_cast<int32_t>(input.size()));
    const int32_t ready = engine.samplesAvailable(length);
    double *const *places = engine.outputPointers();
    Channels output;
    for (size_t c = 0; c < input.size(); ++c)
        output.emplace_back(places[c], places[c] + (places[c] ? ready : 0));
    engine.advanceOutput(ready);
    return output;
}

void expectConvolution(const Channels &output, const Channels &input, const Channels &response) {
    for (size_t c = 0; c < output.size(); ++c)
        for (size_t t = 0; t < output[c].size(); ++t)
            ASSERT_NEAR(output[c][t], convolvedSample(input[c], response[c % response.size()], t),
                        1e-5)
                << "channel " << c << " at " << t;
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
    const Channels response{noise(700, 1)};
    ImpulseBuffer impulse;
    load(impulse, response);
    ConvolutionEngine engine;
    engine.setImpulse(impulse, 512, 0, 0, false);
    EXPECT_EQ(run(engine, {noise(100, 2)})[0].size(), 0u);
    engine.addSamples(nullptr, 156, 1);
    EXPECT_EQ(engine.samplesAvailable(156), 256);

    ConvolutionEngineDiv divided;
    EXPECT_EQ(divided.setImpulse(impulse, 0, 0, 0, 0, 256), 256);
    for (const size_t ready : {0, 128, 128, 128})
        EXPECT_EQ(run(divided, {noise(128, 2)})[0].size(), ready);
}

TEST_F(Engines, PassTheInputThroughWithoutAResponse) {
    const Channels input{noise(300, 1), noise(300, 2)};
    ConvolutionEngine plain;
    EXPECT_EQ(run(plain, input), input);
    for (const bool direct : {false, true}) {
        plain.setImpulse(ImpulseBuffer(), 0, 0, 0, direct);
        EXPECT_EQ(run(plain, input), input);
    }
    ConvolutionEngineDiv divided;
    divided.setImpulse(ImpulseBuffer(), 0, 0, 0, 0, 0);
    EXPECT_EQ(run(divided, input), input);
}

TEST_F(Engines, SoundLikeFreshOnesAfterAReset) {
    const Channels input{noise(3000, 1), noise(3000, 2)};
    ImpulseBuffer impulse;
    load(impulse, {noise(5000, 3), noise(5000, 4)});
    const auto expectFresh = [&](auto &&used, auto &&fresh, auto... settings) {
        used.setImpulse(impulse, settings...);
        fresh.setImpulse(impulse, settings...);
        run(used, {noise(777, 5), noise(777, 6)});
        used.resetState();
        const Channels again = run(used, input);
        EXPECT_GT(again[0].size(), 0u);
        EXPECT_EQ(again, run(fresh, input));
    };
    expectFresh(ConvolutionEngine(), ConvolutionEngine(), 512, 0, 0, false);
    expectFresh(ConvolutionEngine(), ConvolutionEngine(), 512, 0, 0, true);
    expectFresh(ConvolutionEngineDiv(), ConvolutionEngineDiv(), 0, 0, 0, 0, 0);
}

TEST_F(Engines, AreSilentOrStopWhereMemoryFails) {
    const Channels input{noise(640, 2), noise(640, 3)}, response{noise(200, 1)};
    ImpulseBuffer impulse;
    load(impulse, response);
    for (int granted = 0, refused = 1; refused > 0; ++granted) {
        ConvolutionEngine engine;
        const double *sources[] = {input[0].data(), input[1].data()};
        {
            const AllocationLimit limit(granted);
            engine.setImpulse(impulse, 128, 0, 0, false);
            engine.addSamples(sources, 640, 2);
            engine.samplesAvailable(640);
            refused = limit.refused();
        }
        double *const *places = engine.outputPointers();
        for (int32_t c = 0; places && c < 2 && places[c]; ++c) {
            const std::vector<double> got(places[c], places[c] + engine.samplesReady(c));
            if (std::ranges::any_of(got, [](double sample) { return sample != 0.0; }))
                expectConvolution({got}, {input[static_cast<size_t>(c)]}, response);
        }
    }
}

} // namespace
} // namespace tonvale::test
