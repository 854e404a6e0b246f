#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <cmath>

// The whole plug-in, through its record alone, against direct convolution.

namespace tonvale::test {
namespace {

enum class Feed { distinct, equal, switching };

struct Case {
    size_t length;
    int32_t block; ///< 0: a random mix
    int32_t channels;
    int32_t responseChannels;
    Mode mode;
    Feed feed;
    float maxFft = 1.0f; ///< normalised
};

constexpr size_t quietFrom = 3000;
constexpr size_t quietTo = 9000;

/// Noise with a silence in the middle; equal channels part for a while where they switch.
Channels makeInput(const Case &c, size_t length) {
    Channels input;
    for (int32_t i = 0; i < c.channels; ++i) {
        const auto own = static_cast<uint32_t>(i + 1);
        Samples samples = noise(length, c.feed == Feed::distinct ? own : 1);
        if (c.feed == Feed::switching) {
            const Samples other = noise(length, own);
            for (size_t t = length / 2; t < length * 3 / 4; ++t)
                samples[t] = other[t];
        }
        for (size_t t = quietFrom; t < std::min(quietTo, length); ++t)
            samples[t] = 0.0;
        // One channel alone speaks first behind the silence.
        for (size_t t = quietTo; t < std::min(quietTo + 700, length) && i % 2 == 0; ++t)
            samples[t] = 0.0;
        input.push_back(std::move(samples));
    }
    return input;
}

/// Runs a case and holds it against the sum of products.
void expectConvolution(const Case &c) {
    const bool zl = c.mode.zl;
    SCOPED_TRACE(testing::Message() << c.length << " taps, block " << c.block << ", " << c.channels
                                    << "/" << c.responseChannels << " channels, " << c.mode.name()
                                    << ", feed " << static_cast<int>(c.feed) << ", " << c.maxFft);
    EffectDriver driver(c.channels);
    driver.set(3, c.maxFft);
    Channels taps{{1.0}};
    if (c.length > 0) {
        taps.clear();
        for (int32_t i = 0; i < c.responseChannels; ++i)
            taps.push_back(roomNoise(c.length, static_cast<uint32_t>(100 + i)));
        driver.setResponse(taps);
    }
    driver.hearWetOnly(c.mode);

    // Taps alone round to single precision, and nothing else.
    const bool isDirect = c.length < 64 || (zl && c.length <= 128);
    for (Samples &channel : taps) {
        for (double &tap : channel)
            tap = isDirect ? double{static_cast<float>(tap)} : tap;
    }
    const Channels input = makeInput(c, c.length > 50000 ? 130000 : 30000);
    const auto latency = static_cast<size_t>(driver.effect->initialDelay);
    EXPECT_TRUE(latency == 0 || !zl);
    const Channels output =
        c.block > 0 ? driver.process(input, c.block) : driver.process(input, randomBlocks(3, 5000));

    for (const Samples &channel : output)
        EXPECT_EQ(Samples(channel.data(), channel.data() + latency), Samples(latency));
    // An odd stride meets each place of a block.
    EXPECT_LE(convolutionError(output, input, taps, latency, c.length / 80 | 1),
              isDirect ? -290.0 : -145.0);
}

class ConvolutionThroughEffect : public testing::TestWithParam<Mode> {
    PermutedTransform permuted;
};

constexpr size_t lengths[] = {0, 1, 63, 64, 65, 127, 128, 129, 700, 5000};
constexpr int32_t blocks[] = {1, 37, 64, 512, 5000, 0};

TEST_P(ConvolutionThroughEffect, EqualsDirectConvolutionForEveryLengthOfResponse) {
    int turn = 0;
    for (const size_t length : lengths) {
        for (const int32_t responseChannels : {1, 2}) {
            const int32_t block = blocks[turn++ % 6];
            expectConvolution({length, block, 2, responseChannels, GetParam(), Feed::distinct});
        }
    }
}

TEST_P(ConvolutionThroughEffect, EqualsDirectConvolutionForEveryBlockLength) {
    for (const int32_t block : blocks)
        expectConvolution({2000, block, 2, 2, GetParam(), Feed::distinct, 0.02f});
}

TEST_P(ConvolutionThroughEffect, EqualsDirectConvolutionForEveryFeedAndChannelCount) {
    for (const int32_t channels : {1, 2, 4}) {
        for (const int32_t responseChannels : {1, 2, 4}) {
            for (const Feed feed : {Feed::distinct, Feed::equal, Feed::switching})
                expectConvolution({1500, 0, channels, responseChannels, GetParam(), feed, 0.01f});
        }
    }
}

TEST_P(ConvolutionThroughEffect, EqualsDirectConvolutionForALongResponse) {
    expectConvolution({100000, 512, 2, 2, GetParam(), Feed::distinct});
    expectConvolution({100000, 0, 2, 2, GetParam(), Feed::switching, 0.05f});
}

TEST_P(ConvolutionThroughEffect, TakesEveryFftLimitThatAHostMaySet) {
    // 32, 1000, 3, 16384 and far beyond either end, of which few are powers of two.
    for (const float maxFft : {0.0f, 0.0592f, -0.0018f, 1.0f, 1e30f, -1e30f, NAN})
        expectConvolution({3000, 0, 2, 2, GetParam(), Feed::distinct, maxFft});
}

INSTANTIATE_TEST_SUITE_P(Modes, ConvolutionThroughEffect, testing::ValuesIn(allModes),
                         [](const auto &mode) { return mode.param.name(); });

} // namespace
} // namespace tonvale::test
