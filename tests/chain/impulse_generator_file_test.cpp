#include "chain/impulse_generator_file.h"

#include "core/reverb_plugin.h"
#include "host/effect_driver.h"
#include "workbench/services/project_registry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace tonvale::test {
namespace {

class FileStage : public testing::Test {
  protected:
    void SetUp() override {
        loadTestHost();
        putMedia("mono", 44100.0, {noise(100, 1)});
        putMedia("stereo", 44100.0, {noise(150, 2), noise(150, 3)});
    }

    static void load(ImpulseGenerator_File &stage, const std::string &name, int32_t flags = 60) {
        std::string state(4, '\0');
        std::memcpy(state.data(), &flags, sizeof flags);
        state += "memory:" + name + '\0';
        stage.loadState("FILELDR", state.data(), static_cast<int32_t>(state.size()));
    }

    void run(const std::string &name, int32_t flags = 60) {
        ImpulseGenerator_File stage;
        load(stage, name, flags);
        stage.process(impulse);
        status = stage.status;
    }

    void start(int32_t channels, int32_t length, double rate = 44100.0) {
        impulse.sampleRate = rate;
        impulse.setNumChannels(channels, false);
        impulse.setLength(0);
        impulse.setLength(length);
    }

    std::vector<double> channel(int32_t index) const {
        const double *samples = impulse.getChannel(index);
        return samples ? std::vector<double>(samples, samples + impulse.getLength())
                       : std::vector<double>{};
    }

    static std::vector<double> scaled(std::vector<double> samples, double gain, size_t length) {
        samples.resize(length, 0.0);
        for (double &sample : samples)
            sample *= gain;
        return samples;
    }

    static constexpr int32_t offsetOne = 1 << 8;
    ImpulseBuffer impulse;
    std::string status;
};

TEST_F(FileStage, MixesIntoTheChannelsThatItsOffsetNames) {
    start(1, 0);
    run("mono");
    EXPECT_EQ(impulse.getNumChannels(), 1);
    EXPECT_EQ(channel(0), noise(100, 1));

    start(2, 0);
    run("mono");
    EXPECT_EQ(channel(0), noise(100, 1));
    EXPECT_EQ(channel(1), noise(100, 1));

    start(2, 0);
    run("mono", 60 | offsetOne);
    EXPECT_EQ(channel(0), std::vector<double>(100, 0.0));
    EXPECT_EQ(channel(1), noise(100, 1));

    start(1, 20);
    impulse.getChannel(0)[5] = 1.0;
    run("stereo", 60 | offsetOne);
    EXPECT_EQ(impulse.getNumChannels(), 3);
    EXPECT_EQ(channel(0)[5], 1.0);
    EXPECT_EQ(channel(1), noise(150, 2));
    EXPECT_EQ(channel(2), noise(150, 3));

    // Two files add; the longer one sets the length.
    start(1, 0);
    run("mono", 56);
    run("stereo");
    std::vector<double> sum = noise(150, 3);
    for (size_t i = 0; i < 100; ++i)
        sum[i] += 0.125 * noise(100, 1)[i];
    EXPECT_EQ(channel(1), sum);

    // As many channels as offset and file ask for, and no more is read than is there.
    putMedia("wide", 44100.0, Channels(130, noise(10, 1)));
    start(1, 0);
    run("wide", 60 | (127 << 8));
    EXPECT_EQ(impulse.getNumChannels(), 255);
    EXPECT_EQ(channel(254), noise(10, 1));
    run("mono", static_cast<int32_t>(0xFFFFFFFC));
    EXPECT_EQ(impulse.getNumChannels(), 256);
}

TEST_F(FileStage, AdjustsGainByTheModeInItsFlags) {
    const std::vector<double> samples = noise(100, 1);
    double peak = 0.0;
    for (const double s : samples)
        peak = std::max(peak, std::fabs(s));
    struct Row {
        int32_t flags;
        double gain;
    };
    // At equal rates no resampler runs, and the source's rate is no gain.
    for (const Row row : {Row{0x3c, 1.0}, Row{0x38, 0.125}, Row{0x1c, 1.0}, Row{0x18, 0.125},
                          Row{0x0c, 1.0}, Row{0x08, 0.125}, Row{0x04, 1.0}, Row{0x00, 0.125},
                          Row{0x06, 1.0 / peak}, Row{0x02, 0.125 / peak}}) {
        start(1, 0);
        run("mono", row.flags);
        for (size_t i = 0; i < 100; ++i)
            ASSERT_NEAR(channel(0)[i], row.gain * samples[i], 1e-15) << row.flags;
    }
    // The source reads at the other rate itself here.
    start(1, 0, 22050.0);
    run("mono", 0x0c);
    EXPECT_EQ(channel(0)[0], 2.0 * samples[0]);
    start(1, 0, 22050.0);
    run("mono", 0x04);
    EXPECT_EQ(channel(0)[0], samples[0]);
    // A rate within 1 Hz is the same.
    start(1, 0, 44101.0);
    run("mono", 0x0c);
    EXPECT_EQ(channel(0)[0], samples[0]);

    putMedia("silence", 44100.0, {std::vector<double>(50, 0.0)});
    start(1, 0);
    run("silence", 0x06);
    EXPECT_EQ(channel(0), std::vector<double>(50, 0.0));
    start(2, 0);
    run("stereo", 0x3d);
    for (size_t i = 0; i < 150; ++i)
        ASSERT_NEAR(channel(1)[i], (noise(150, 2)[i] + noise(150, 3)[i]) / 2.0, 1e-15);
}

TEST_F(FileStage, ResamplesAndKeepsTheGainOfAConvolution) {
    // A smooth burst, of which the band limit takes nothing.
    const auto burst = [](double rate, size_t length) {
        std::vector<double> samples(length);
        for (size_t i = 0; i < length; ++i) {
            const double t = static_cast<double>(i) / rate;
            samples[i] = (1.0 + std::sin(2.0 * M_PI * 500.0 * t)) *
                         std::exp(-0.5 * std::pow((t - 0.1) / 0.02, 2.0));
        }
        return samples;
    };
    putMedia("burst", 48000.0, {burst(48000.0, 9600), burst(48000.0, 9600)});
    for (const int32_t flags : {60, 0x1c}) {
        for (const double rate : {44100.0, 96000.0, 22050.0}) {
            start(1, 0, rate);
            run("burst", flags);
            const auto expected = burst(rate, static_cast<size_t>(rate / 5.0));
            ASSERT_NEAR(impulse.getLength(), rate / 5.0, 2.0);
            ErrorMeter meter;
            for (size_t i = 0; i < expected.size() - 10; ++i)
                meter.add(expected[i] * 48000.0 / rate, channel(1)[i]);
            EXPECT_LT(meter.decibels(), -80.0) << rate;
        }
    }
    EXPECT_EQ(status, "Source: 48000Hz 2ch 0.2s\r\nOutput: 22050Hz 2ch 0.2s");
}

TEST_F(FileStage, LeavesTheBufferAndSaysSoWhenThereIsNothingToRead) {
    putMedia("empty", 44100.0, {{}});
    putMedia("none", 44100.0, {});
    for (const char *name : {"missing", "empty", "none"}) {
        start(2, 7);
        impulse.getChannel(1)[3] = 4.0;
        run(name);
        EXPECT_EQ(impulse.getLength(), 7);
        EXPECT_EQ(impulse.getChannel(1)[3], 4.0);
        EXPECT_EQ(status, "<no file loaded>");
    }
    for (const double rate : {0.0, -1.0, double(NAN), 1e300, double(INFINITY)}) {
        start(1, 0, rate);
        run("mono");
        EXPECT_LE(impulse.getLength(), ImpulseGenerator_File::maxFrames);
    }
    // A file that is too long stops, one that is too large for a buffer isn't read at all.
    putMedia("long", 10.0, {std::vector<double>(1000, 1.0)});
    start(1, 0, 40000.0);
    run("long", 4);
    EXPECT_LE(impulse.getLength(), ImpulseGenerator_File::maxFrames);
    putMedia("large", 1e-3, Channels(120, std::vector<double>(30, 1.0)));
    start(1, 0, 44100.0);
    run("large", 4);
    EXPECT_EQ(status, "<no file loaded>");
    start(1, 0);
    {
        AllocationLimit limit(1, 700);
        run("stereo");
    }
    EXPECT_EQ(status, "<no file loaded>");
    EXPECT_EQ(openMediaSources(), 0);
}

TEST_F(FileStage, ReadsAndWritesItsTextForm) {
    const auto textOf = [](const char *line, bool found) {
        ImpulseGenerator_File stage;
        EXPECT_EQ(stage.loadText(line), found) << line;
        char text[128];
        stage.saveText(text, sizeof text);
        return std::string(text);
    };
    EXPECT_EQ(textOf("", false), "FILELDR \"\" 60");
    EXPECT_EQ(textOf(" \t", false), "FILELDR \"\" 60");
    EXPECT_EQ(textOf("\"a b.wav\" 28", true), "FILELDR \"a b.wav\" 28");
    EXPECT_EQ(textOf("  'it is \"quoted\".wav' -1", true), "FILELDR \"it is \"quoted\".wav\" -1");
    EXPECT_EQ(textOf("plain.wav 4 and more", true), "FILELDR \"plain.wav\" 4");
    EXPECT_EQ(textOf("\"cut", true), "FILELDR \"cut\" 60");
    EXPECT_EQ(textOf("\"p\" word", true), "FILELDR \"p\" 0");
    EXPECT_EQ(textOf("\"p\" 99999999999", true), "FILELDR \"p\" 2147483647");
    ImpulseGenerator_File stage;
    load(stage, "x", 1);
    char small[12];
    stage.saveText(small, sizeof small);
    EXPECT_STREQ(small, "FILELDR \"me");
}

TEST_F(FileStage, KeepsASourceThatIsOpenWhenThePathOnlyChangesItsCase) {
    ImpulseGenerator_File stage;
    load(stage, "mono");
    EXPECT_EQ(openMediaSources(), 1);
    load(stage, "MONO", 4);
    EXPECT_EQ(openMediaSources(), 1);
    EXPECT_EQ(stage.getPath(), "memory:MONO");
    load(stage, "missing");
    EXPECT_EQ(openMediaSources(), 0);
    stage.loadState("FILELDR", "\x05\0\0", 3);
    EXPECT_EQ(stage.getPath(), "memory:missing");
    HeapBuffer saved;
    stage.saveState(saved);
    EXPECT_EQ(saved.getSize(), 4 + 14 + 1);
}

TEST_F(FileStage, TheProjectKnowsOfTheFileAndCanReplaceIt) {
    EffectDriver driver;
    const size_t before = workbench::projectFiles().size();
    driver.setChain({"FILELDR \"\" 60"});
    EXPECT_EQ(workbench::projectFiles().size(), before);
    ASSERT_EQ(driver.setChain({"FILELDR \"memory:mono\" 60"}), 1);
    ASSERT_EQ(workbench::projectFiles().size(), before + 1);
    EXPECT_EQ(workbench::projectFiles().back().file, "memory:mono");

    const auto file = workbench::projectFiles().back();
    const auto ask = [&](int message, void *data = nullptr) {
        return file.callback(file.userData, message, data);
    };
    EXPECT_STREQ(reinterpret_cast<const char *>(ask(256)), "impulses");
    EXPECT_NE(ask(257), 0);
    EXPECT_STREQ(reinterpret_cast<const char *>(ask(259)), "Tonvale");
    EXPECT_EQ(ask(258), 0);
    EXPECT_EQ(file.callback(nullptr, 259, nullptr), 0);

    hostNotes().clear();
    ask(0);
    EXPECT_EQ(hostNotes().idleRequests, 0);
    ASSERT_TRUE(workbench::replaceProjectFile(file, "memory:stereo"));
    EXPECT_EQ(hostNotes().idleRequests, 1);
    EXPECT_EQ(driver.dispatch(effGetTailSize), 100);
    driver.dispatch(effIdle);
    EXPECT_EQ(driver.dispatch(effGetTailSize), 150);
    driver.setChain({});
    EXPECT_EQ(workbench::projectFiles().size(), before);
}

} // namespace
} // namespace tonvale::test
