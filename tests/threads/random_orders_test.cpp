#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <random>

// Whatever came before, and with no reset since, what sounds is the response of the present chain,
// in line with the dry signal.

namespace tonvale::test {
namespace {

constexpr double rate = 44100.0;
constexpr int32_t longestPreverb = 2500;

struct Response {
    const char *name;
    size_t length;
    size_t channels;
};
constexpr Response responses[] = {{"tap", 1, 1},      {"taps", 40, 2},   {"short", 130, 1},
                                  {"middle", 900, 2}, {"long", 2600, 3}, {"longest", 5000, 2}};

std::vector<double> tapsOf(const Response &response, size_t channel) {
    const size_t own = channel % response.channels;
    return roomNoise(response.length, static_cast<uint32_t>(response.length + own));
}

/// One sequence of things that a host and its user do, in an order that the seed tells.
class Sequence {
  public:
    Sequence(EffectDriver &effect, uint32_t seed)
        : driver(effect)
        , random(seed) {}

    void run() {
        const int steps = pick(2, 14);
        for (int i = 0; i < steps; ++i) {
            step();
            if (pick(0, 2) > 0)
                play(pick(1, 3000));
        }
    }

    /// Plays until nothing of before can sound, and compares what comes then with the model.
    double errorDecibels() {
        driver.set(0, 0.75f);
        driver.set(1, 0.25f);
        const std::string line = driver.stageText(0);
        const auto *present =
            std::find_if(std::begin(responses), std::end(responses), [&](const Response &response) {
                return line.find(":" + std::string(response.name) + "\"") != std::string::npos;
            });
        const auto delay = static_cast<size_t>(driver.effect->initialDelay);
        const auto preverb = static_cast<size_t>(driver.get(2) * 3.0 * rate);
        const size_t settled = delay + 2 * 5000 + 4 * 1000;
        const Channels input = noiseFor(settled + 1000);
        const Channels output = driver.process(input, randomBlocks(random(), 1500));

        ErrorMeter meter;
        for (size_t c = 0; c < input.size(); ++c) {
            std::vector<double> taps{1.0};
            if (present != std::end(responses))
                taps = tapsOf(*present, c);
            for (size_t t = settled; t < input[c].size(); t += 23) {
                const double wet = convolvedSample(input[c], taps, t - (delay - preverb));
                meter.add(0.75 * wet + 0.25 * input[c][t - delay], output[c][t]);
            }
        }
        return meter.decibels();
    }

  private:
    int pick(int least, int most) { return std::uniform_int_distribution<>(least, most)(random); }

    Channels noiseFor(size_t frames) {
        return noiseChannels(static_cast<size_t>(driver.effect->numInputs), frames, random());
    }

    void play(int frames) {
        driver.process(noiseFor(static_cast<size_t>(frames)), randomBlocks(random(), 1500));
        EXPECT_GE(driver.effect->initialDelay, 0);
    }

    void chooseResponse() {
        const Response &response = responses[pick(0, 5)];
        driver.setChain({"FILELDR \"memory:" + std::string(response.name) + "\" 60"});
    }

    void step() {
        char unused[] = "";
        constexpr float limits[] = {0.0f, 0.0592f, 0.014f, 0.03f};
        switch (pick(0, 9)) {
        case 0:
        case 1:
        case 2: // as a hand on the fader
            for (int i = pick(1, 6); i > 0; --i) {
                driver.set(2, static_cast<float>((pick(0, longestPreverb) + 0.5) / rate / 3.0));
                play(pick(1, 700));
            }
            break;
        case 3:
            driver.set(6, static_cast<float>(pick(0, 1)));
            break;
        case 4:
            driver.set(7, static_cast<float>(pick(0, 1)));
            break;
        case 5:
            driver.set(3, limits[pick(0, 3)]);
            driver.vendor(24, "DONE", unused);
            break;
        case 6:
            driver.setChannels(pick(1, 6));
            break;
        case 7:
            saveOrLoad();
            break;
        case 8:
            chooseResponse();
            break;
        default:
            if (pick(0, 3) == 0)
                driver.reset();
            else
                driver.vendor(24, "DONE", unused);
        }
    }

    void saveOrLoad() {
        if (saved.empty() || pick(0, 1) == 0)
            saved = driver.save();
        else
            driver.load(saved);
    }

    EffectDriver &driver;
    std::mt19937 random;
    std::string saved;
};

class RandomOrders : public testing::TestWithParam<uint32_t> {};

TEST_P(RandomOrders, EndInTheSoundOfThePresentChain) {
    for (const Response &response : responses) {
        Channels channels;
        for (size_t c = 0; c < response.channels; ++c)
            channels.push_back(tapsOf(response, c));
        putMedia(response.name, rate, channels);
    }
    constexpr uint32_t sequences = 260;
    std::unique_ptr<EffectDriver> driver;
    int off = 0;
    for (uint32_t i = 0; i < sequences; ++i) {
        // Often what an earlier sequence left is where the next one begins.
        if (i % 5 == 0) {
            driver = std::make_unique<EffectDriver>();
            driver->set(3, 0.014f);
        }
        const uint32_t seed = GetParam() * sequences + i;
        Sequence sequence(*driver, seed);
        sequence.run();
        const double error = sequence.errorDecibels();
        if (error < -140.0)
            continue;
        ++off;
        ADD_FAILURE() << "sequence " << seed << ": " << error << " dB";
        driver = std::make_unique<EffectDriver>();
    }
    EXPECT_EQ(off, 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomOrders, testing::Range(0u, 8u));

} // namespace
} // namespace tonvale::test
