#include "convolution/containers/raw_memory.h"
#include "core/reverb_plugin.h"
#include "host/vendor_protocol.h"
#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace tonvale::test {
namespace {

class Rebuild : public testing::Test {
  protected:
    ReverbPlugin &plugin() { return *static_cast<ReverbPlugin *>(driver.effect->user); }
    TailWorker &tail() { return plugin().audio.tail; }

    void loadResponse(size_t length) { driver.setResponse({roomNoise(length, 1)}); }

    /// How far off the sound is from that response, behind a reset, dB.
    double errorAgainst(const Samples &taps) {
        driver.reset();
        const Channels input = noiseChannels(2, 6000, 3);
        return convolutionError(driver.process(input, 333), input, {taps}, 0, 29);
    }

    EffectDriver driver;
};

TEST_F(Rebuild, SplitsAResponseOfMoreThanTwiceTheSplit) {
    struct Row {
        float maxFft; ///< normalised
        int32_t split;
    };
    for (const Row row : {Row{0.0f, 512}, Row{1.0f, 8192}, Row{0.0592f, 1000}}) {
        driver.set(3, row.maxFft);
        loadResponse(static_cast<size_t>(2 * row.split));
        EXPECT_EQ(tail().split(), 0);
        EXPECT_FALSE(tail().isRunning());
        loadResponse(static_cast<size_t>(2 * row.split + 1));
        EXPECT_EQ(tail().split(), row.split);
        EXPECT_TRUE(tail().isRunning());
        // A rebuild that keeps a tail keeps the thread.
        driver.set(6, 0.0f);
        EXPECT_TRUE(tail().isRunning());
        driver.process({noise(3000, 1), noise(3000, 2)}, 700);
        driver.set(7, 0.0f);
        EXPECT_FALSE(tail().isRunning() || tail().isActive());
        driver.set(6, 1.0f);
        driver.set(7, 1.0f);
    }
}

TEST_F(Rebuild, TakesTheWholeResponseWhenTheWorkerCanNotStart) {
    driver.set(3, 0.0f);
    loadResponse(5000);
    driver.set(7, 0.0f);
    setAllocationGate([](size_t bytes) { return bytes != sizeof(WorkerThread); });
    driver.hearWetOnly(true, true);
    setAllocationGate(nullptr);
    EXPECT_EQ(tail().split(), 0);
    EXPECT_FALSE(tail().isRunning());

    EXPECT_LT(errorAgainst(roomNoise(5000, 1)), -145.0);
    loadResponse(5000);
    EXPECT_EQ(tail().split(), 512);
}

TEST_F(Rebuild, OnlyAFlipOfZlOrLlRebuilds) {
    loadResponse(5000);
    const auto rebuilt = [this](int32_t param, float value) {
        plugin().editor.displayDirty = 0;
        driver.set(param, value);
        return plugin().editor.displayDirty != 0;
    };
    EXPECT_FALSE(rebuilt(6, 0.6f));
    EXPECT_TRUE(rebuilt(6, 0.4f));
    EXPECT_FALSE(rebuilt(6, NAN));
    EXPECT_TRUE(rebuilt(7, 0.0f));
    EXPECT_FALSE(rebuilt(7, 0.1f));
    for (int32_t param = 0; param < 6; ++param)
        EXPECT_FALSE(rebuilt(param, 0.3f));
    EXPECT_EQ(plugin().editor.pendingControlMask, 0xFFu);
}

TEST_F(Rebuild, WhereMemoryRunsOutTheOldEnginesGoOnAndTheRequestIsDoneLater) {
    char none[] = "";
    char line[] = "FILELDR \"memory:new\" 60";
    putMedia("new", 44100.0, {roomNoise(1500, 1)});
    driver.set(3, 0.0f);
    int kept = 0;
    forEachRefusedRequest(400, [&](const Refusal &refusal) {
        loadResponse(700);
        driver.hearWetOnly(true, refusal.from % 2);
        driver.vendor(vendorChangeChain, "ITEM0", line);
        {
            AllocationLimit limit(refusal);
            driver.vendor(vendorChangeChain, "DONE", none);
        }
        const auto length = static_cast<size_t>(driver.dispatch(effGetTailSize));
        EXPECT_TRUE(length == 700 || length == 1500) << length;
        EXPECT_LT(errorAgainst(roomNoise(length, 1)), -145.0) << length;
        kept += length == 700;
        driver.dispatch(effIdle);
        if (length == 700) {
            EXPECT_LT(errorAgainst(roomNoise(1500, 1)), -145.0);
        }
    });
    EXPECT_GT(kept, 10);
}

/// A medium of one click, during whose reading the host does something else.
class CallingSource final : public MediaSource {
  public:
    static inline std::function<void()> duringReading;
    static inline int open = 0;

    static MediaSource *create(const char *) { return new CallingSource; }
    CallingSource() { ++open; }
    void destroy(int) override {
        --open;
        delete this;
    }
    int GetNumChannels() override { return 1; }
    double GetSampleRate() override { return 44100.0; }
    double GetLength() override { return 1.0 / 44100.0; }
    void GetSamples(MediaReadBlock *block) override {
        const int before = open;
        if (duringReading)
            duringReading();
        EXPECT_GE(open, before) << "the source that is being read was closed";
        block->samples[0] = 1.0;
        block->samplesOut = 1;
    }
};

TEST_F(Rebuild, BearsAHostThatCallsBackWhileItsFileIsRead) {
    auto *const openFile =
        std::exchange(hostFunctions.PCM_Source_CreateFromFile, CallingSource::create);
    driver.hearWetOnly(true, false);
    const std::string state = driver.save();
    char none[] = "";
    const std::vector<std::function<void()>> calls = {
        [&] { driver.vendor(24, "DONE", none); },
        [&] {
            driver.vendor(24, "-ITEM*", none);
            driver.vendor(24, "DONE", none);
        },
        [&] { driver.vendor(24, "-ITEM0", none); },
        [&] { driver.load(state); },
        [&] {
            char line[] = "NORM 0.5";
            driver.vendor(24, "+ITEM0", line);
            driver.dispatch(effSetSampleRate, 0, 0, nullptr, 44100.0f);
        },
    };
    // The first and the last ask in each run, and so once more than is done at once.
    const size_t stagesAfter[] = {2, 0, 0, 0, 6};
    const double heardAfter[] = {2.0, 1.0, 2.0, 1.0, 2.0};
    for (size_t i = 0; i < calls.size(); ++i) {
        CallingSource::duringReading = nullptr;
        driver.load(state);
        ASSERT_EQ(driver.setChain({"FILELDR \"a\" 60", "FILELDR \"b\" 60"}), 2);
        CallingSource::duringReading = calls[i];
        driver.vendor(24, "DONE", none);
        CallingSource::duringReading = nullptr;
        EXPECT_EQ(driver.chain().size(), stagesAfter[i]) << i;
        EXPECT_EQ(CallingSource::open, stagesAfter[i] ? 2 : 0) << i;
        EXPECT_EQ(plugin().rebuildPending != 0, i == 0 || i == 4) << i;
        driver.reset();
        EXPECT_EQ(driver.process({{1.0}, {1.0}}, 1)[0][0], heardAfter[i]) << i;
    }
    hostFunctions.PCM_Source_CreateFromFile = openFile;
}

TEST_F(Rebuild, OutlastsAHostThatClosesTheInstanceWhileItsFileIsRead) {
    auto *const openFile =
        std::exchange(hostFunctions.PCM_Source_CreateFromFile, CallingSource::create);
    std::string state;
    const std::function<void(EffectDriver &)> calls[] = {
        [&](EffectDriver &closed) { closed.load(state); },
        [](EffectDriver &closed) { closed.set(paramZeroLatency, 0.0f); },
        [](EffectDriver &closed) { closed.dispatch(effSetSampleRate, 0, 0, nullptr, 48000.0f); },
        [](EffectDriver &closed) {
            char none[] = "";
            closed.vendor(24, "DONE", none);
        },
    };
    for (const auto &call : calls) {
        auto closed = std::make_unique<EffectDriver>();
        closed->setChain({"FILELDR \"a\" 60", "FILELDR \"b\" 60"});
        state = closed->save();
        CallingSource::duringReading = [&] { closed.reset(); };
        call(*closed);
        CallingSource::duringReading = nullptr;
        EXPECT_EQ(closed, nullptr);
        EXPECT_EQ(CallingSource::open, 0);
    }
    hostFunctions.PCM_Source_CreateFromFile = openFile;
}

TEST(AudioPathExchange, KeepsItsTimeWhateverCameSinceTheEnginesWerePrimed) {
    EffectDriver host; // fetches the host's functions
    ImpulseBuffer impulse;
    impulse.setNumChannels(1, false);
    ASSERT_EQ(impulse.setLength(3000), 3000);
    impulse.getChannel(0)[0] = 1.0;
    const AudioPath::Settings settings{.channels = 2,
                                       .delay = 2000,
                                       .preverb = 0,
                                       .wet = 1.0,
                                       .dry = 0.0,
                                       .width = 1.0,
                                       .pan = 0.0};
    std::vector<double> input = noise(4096, 1);
    for (const bool zl : {true, false}) {
        for (const int32_t primed : {0, 700, 2000, 2900}) {
            EngineSet next = buildEngines(impulse, {zl, false, 512, 512, 2});
            AudioPath::prime(next, primed, 2);
            AudioPath path;
            path.settleGains(settings);
            EngineSet none;
            path.exchange(none, 2000, 2, true); // so much of wet was held back
            path.exchange(next, primed, 2, true);
            std::vector<double> output(4096);
            const double *inputs[2] = {input.data(), input.data()};
            double *outputs[2] = {output.data(), nullptr};
            path.process(inputs, outputs, 4096, settings);
            for (size_t t = 0; t < 4096; t += 7)
                ASSERT_NEAR(output[t], t < 2000 ? 0.0 : input[t - 2000], 1e-7)
                    << primed << " " << t;
        }
    }
}

TEST_F(Rebuild, ReportsATailThatIsShortOfTheResponseByThePreverb) {
    EXPECT_EQ(driver.dispatch(effGetTailSize), 1);
    loadResponse(48000);
    driver.set(2, static_cast<float>(1000.5 / 44100.0 / 3.0));
    EXPECT_EQ(driver.dispatch(effGetTailSize), 47000);
}

} // namespace
} // namespace tonvale::test
