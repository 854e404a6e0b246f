#include "convolution/containers/raw_memory.h"
#include "steady_state/allocation_count.h"
#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

namespace tonvale::test {
namespace {

/// While it lives, what asks the gate is counted too.
struct GateCount {
    GateCount() {
        resetAllocationCount();
        setAllocationGate([](size_t) {
            noteAllocation();
            return true;
        });
    }
    ~GateCount() { setAllocationGate(nullptr); }
};

class SteadyStates : public testing::TestWithParam<Mode> {};

TEST_P(SteadyStates, AllocatesNothingOnTheAudioThread) {
    const auto &[zl, ll] = GetParam();
    const int32_t channels = zl ? 4 : 3;
    EffectDriver driver(channels);
    driver.set(3, 0.06f);
    driver.set(2, 0.01f);
    driver.set(4, 0.7f); // the width's scratch is in use
    driver.setResponse(noiseChannels(ll ? 2 : 1, 20000, 1));
    driver.hearWetOnly({zl, ll});

    Channels buffers(static_cast<size_t>(channels), noise(2048, 3));
    std::vector<double *> places;
    for (auto &channel : buffers)
        places.push_back(channel.data());
    const auto nextBlock = randomBlocks(4, 2048);
    const auto play = [&](int32_t frames) {
        driver.effect->processDoubleReplacing(driver.effect, places.data(), places.data(), frames);
        for (auto &channel : buffers)
            channel[0] = 0.1;
    };

    const GateCount gate;
    play(2048);
    for (int32_t samples = 0; samples < 44100;) {
        const int32_t frames = nextBlock();
        play(frames);
        samples += frames;
    }
    constexpr int32_t turned[] = {0, 1, 4, 5}; // what acts at the next block
    const AllocationsCounted counted;
    for (int block = 0; block < 10000; ++block) {
        play(nextBlock());
        if (block % 1000 == 0)
            driver.set(turned[block / 1000 % 4], 0.3f + 1e-5f * static_cast<float>(block));
    }
    EXPECT_EQ(countedAllocations(), 0);
}

void playsBehindARebuildWithoutAllocating(bool zeroLatency) {
    EffectDriver driver;
    driver.setResponse(noiseChannels(2, 30000, 1));
    driver.set(2, 1.0f);
    driver.hearWetOnly(zeroLatency, false);
    Channels buffers(2, noise(1024, 3));
    double *places[] = {buffers[0].data(), buffers[1].data()};
    const auto play = [&](int blocks) {
        for (int i = 0; i < blocks; ++i)
            driver.effect->processDoubleReplacing(driver.effect, places, places, 1024);
    };
    const GateCount gate;
    play(200);
    for (const float preverb : {0.0f, 0.3f}) {
        // Wet that led is held back from now on.
        driver.set(2, preverb);
        play(200);
        driver.setResponse(noiseChannels(2, 40000, 2));
        resetAllocationCount();
        const AllocationsCounted counted;
        play(300);
        EXPECT_EQ(countedAllocations(), 0) << zeroLatency << " " << preverb;
    }
}

TEST(SteadyState, BeginsWithTheFirstBlockBehindARebuildHoweverMuchIsUnderWay) {
    playsBehindARebuildWithoutAllocating(true);
    playsBehindARebuildWithoutAllocating(false);
}

TEST(AllocationCount, SeesAllocationsOfEitherKind) {
    const GateCount gate;
    const AllocationsCounted counted;
    freeRaw(allocateRaw(100));
    const int raw = countedAllocations();
    ::operator delete(::operator new(100));
    EXPECT_GE(raw, 1);
    EXPECT_GT(countedAllocations(), raw);
}

INSTANTIATE_TEST_SUITE_P(Modes, SteadyStates, testing::ValuesIn(allModes),
                         [](const auto &mode) { return mode.param.name(); });

} // namespace
} // namespace tonvale::test
