#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <random>
#include <thread>

// One instance under all that a host can do to it at once. What it sounds like meanwhile is open;
// nothing may hang, nothing may be read or written outside, and afterwards it sounds right again.

namespace tonvale::test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto stressTime = std::chrono::milliseconds(2500);

/// Runs each of `tasks` on a thread of its own, again and again, for stressTime.
void runTogether(const std::vector<std::function<void(std::mt19937 &)>> &tasks) {
    const auto end = Clock::now() + stressTime;
    std::vector<std::thread> threads;
    for (size_t i = 0; i < tasks.size(); ++i) {
        threads.emplace_back([&tasks, i, end] {
            std::mt19937 random(static_cast<uint32_t>(i));
            while (Clock::now() < end)
                tasks[i](random);
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

int pick(std::mt19937 &random, int least, int most) {
    return std::uniform_int_distribution<>(least, most)(random);
}

/// A block of noise on up to 128 channels, some of which the host leaves out.
void playBlock(AEffect *effect, std::mt19937 &random) {
    constexpr int32_t room = 6000;
    static thread_local std::vector<double> buffers(128 * room, 0.1);
    const int32_t frames = pick(random, 0, 9) == 0 ? pick(random, 0, room) : pick(random, 0, 700);
    std::array<double *, 128> inputs{};
    std::array<double *, 128> outputs{};
    for (size_t c = 0; c < inputs.size(); ++c) {
        outputs[c] = buffers.data() + c * room;
        inputs[c] = pick(random, 0, 20) == 0 ? nullptr : outputs[c];
    }
    buffers[static_cast<size_t>(pick(random, 0, room))] = pick(random, -1000, 1000) * 1e-3;
    effect->processDoubleReplacing(effect, inputs.data(), outputs.data(), frames);
}

class Stress : public testing::Test {
  protected:
    void SetUp() override {
        putMedia("short", 44100.0, {roomNoise(50, 1)});
        putMedia("middle", 44100.0, {roomNoise(3000, 2), roomNoise(3000, 3)});
        putMedia("long", 48000.0, {roomNoise(60000, 4), roomNoise(60000, 5)});
    }

    /// Plays on for as long as the oldest samples could sound, then compares with a convolution.
    static void expectRightSound(EffectDriver &driver) {
        driver.dispatch(effSetSampleRate, 0, 0, nullptr, 44100.0f);
        driver.setChannels(2);
        driver.set(2, 0.0f);
        driver.set(3, 0.05f);
        driver.set(4, 1.0f);
        driver.set(5, 0.5f);
        ASSERT_EQ(driver.setChain({"FILELDR \"memory:middle\" 60"}), 1);
        driver.hearWetOnly(true, true);
        ASSERT_EQ(driver.effect->initialDelay, 0);
        const Channels input = noiseChannels(2, 20000, 8);
        EXPECT_LT(convolutionError(driver.process(input, 333), input,
                                   {roomNoise(3000, 2), roomNoise(3000, 3)}, 0, 17),
                  -145.0);
    }

    EffectDriver driver;
};

TEST_F(Stress, AudioParametersRatesChainsAndReloadsAtOnce) {
    AEffect *effect = driver.effect;
    ASSERT_EQ(driver.setChain({"FILELDR \"memory:middle\" 60", "!FILELDR \"memory:long\" 60"}), 2);
    const std::string state = driver.save();

    runTogether({
        [&](std::mt19937 &random) { playBlock(effect, random); },
        [&](std::mt19937 &random) {
            driver.set(pick(random, 0, 7), static_cast<float>(pick(random, -1, 8)) / 4.0f);
            driver.get(pick(random, 0, 7));
            char text[256];
            driver.dispatch(effGetParamDisplay, pick(random, 0, 7), 0, text);
        },
        [&](std::mt19937 &random) {
            const float rates[] = {44100.0f, 48000.0f, 0.0f, NAN, 2000.0f};
            driver.dispatch(effSetSampleRate, 0, 0, nullptr, rates[pick(random, 0, 4)]);
            driver.dispatch(effMainsChanged);
            driver.dispatch(effGetTailSize);
        },
        [&](std::mt19937 &random) {
            const char *files[] = {"short", "middle", "long", "none"};
            driver.setChain({std::string("FILELDR \"memory:") + files[pick(random, 0, 3)] + "\" 60",
                             "!FILELDR \"memory:short\" 316"});
            driver.stageText(pick(random, 0, 2));
            driver.setChannels(pick(random, 1, 8));
        },
        [&](std::mt19937 &random) {
            driver.load(state);
            if (pick(random, 0, 3) == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            driver.dispatch(effIdle);
        },
    });
    expectRightSound(driver);
}

TEST_F(Stress, LowLatencyFlipsWhileTheWorkerIsBusy) {
    AEffect *effect = driver.effect;
    driver.set(3, 0.0f);
    ASSERT_EQ(driver.setChain({"FILELDR \"memory:long\" 60"}), 1);
    runTogether({
        [&](std::mt19937 &random) { playBlock(effect, random); },
        [&](std::mt19937 &random) { driver.set(pick(random, 6, 7), pick(random, 0, 1) * 1.0f); },
        [&](std::mt19937 &) { driver.dispatch(effStopProcess); },
    });
    expectRightSound(driver);
}

TEST_F(Stress, AnInstanceClosesWhileItsWorkerConvolves) {
    for (int round = 0; round < 20; ++round) {
        EffectDriver other;
        other.set(3, 0.0f);
        ASSERT_EQ(other.setChain({"FILELDR \"memory:long\" 60"}), 1);
        other.hearWetOnly(true, true);
        other.process({noise(3000, 1), noise(3000, 2)}, 1000);
    }
}

} // namespace
} // namespace tonvale::test
