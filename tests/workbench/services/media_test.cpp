#include "workbench/services/media.h"

#include "test_folder.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <numbers>
#include <sndfile.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace tonvale::workbench {

namespace {

using Source = std::unique_ptr<MediaSource, Destroy>;
using Sink = std::unique_ptr<MediaSink, Destroy>;
using Signal = std::function<double(int frame, int channel)>;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();

void writeFile(const std::string &path, int format, int rate, int channels, int frames,
               const Signal &signal) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    std::vector<double> samples;
    for (int n = 0; n < frames; ++n)
        for (int c = 0; c < channels; ++c)
            samples.push_back(signal(n, c));
    EXPECT_EQ(sf_writef_double(file, samples.data(), frames), frames);
    sf_close(file);
}

constexpr int doubleWav = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;

/// Whole numbers, so that every sample tells its place.
double counted(int frame, int channel) {
    return frame + 0.125 * channel;
}

Signal sineAt(double rate) {
    return [rate](int n, int c) {
        return 0.5 * std::sin(2.0 * std::numbers::pi * (700.0 + 300.0 * c) * n / rate);
    };
}

struct Read {
    double time;
    double rate;
    int channels;
    int length;
};

std::vector<double> read(MediaSource &source, const Read &wanted) {
    std::vector<double> samples(static_cast<size_t>(wanted.channels * wanted.length), -99.0);
    MediaReadBlock block{};
    block.time = wanted.time;
    block.sampleRate = wanted.rate;
    block.channels = wanted.channels;
    block.length = wanted.length;
    block.samples = samples.data();
    source.GetSamples(&block);
    samples.resize(static_cast<size_t>(block.samplesOut * wanted.channels));
    return samples;
}

/// From the start to the end, block by block.
std::vector<double> readAll(MediaSource &source, double rate, int channels, int block) {
    std::vector<double> all;
    for (;;) {
        const auto frame = static_cast<double>(all.size() / static_cast<size_t>(channels));
        const auto part = read(source, {frame / rate, rate, channels, block});
        if (part.empty())
            return all;
        all.insert(all.end(), part.begin(), part.end());
    }
}

double worstDifference(const std::vector<double> &a, const double *b) {
    double worst = 0.0;
    for (size_t i = 0; i < a.size(); ++i)
        worst = std::max(worst, std::abs(a[i] - b[i]));
    return worst;
}

struct Media : testing::Test {
    TestFolder folder;
    std::string path = folder.file("sound.wav");

    Source opened() {
        Source source(createMediaSource(path.c_str()));
        EXPECT_NE(source, nullptr) << mediaProblem(path.c_str());
        return source;
    }
};

} // namespace

TEST_F(Media, ReadsAtTheFilesRateFromAnyTime) {
    writeFile(path, doubleWav, 44100, 2, 5000, counted);
    const Source source = opened();
    EXPECT_EQ(source->GetNumChannels(), 2);
    EXPECT_EQ(source->GetSampleRate(), 44100.0);
    EXPECT_DOUBLE_EQ(source->GetLength(), 5000.0 / 44100.0);
    for (int start : {0, 1024, 3333, 17, 4990, 4999}) {
        const auto got = read(*source, {start / 44100.0, 44100.0, 2, 1500});
        ASSERT_EQ(got.size(), 2 * static_cast<size_t>(std::min(1500, 5000 - start)));
        for (size_t i = 0; i < got.size(); ++i)
            ASSERT_EQ(got[i], counted(start + static_cast<int>(i / 2), static_cast<int>(i % 2)));
    }
    EXPECT_TRUE(read(*source, {5000 / 44100.0, 44100.0, 2, 10}).empty());
}

TEST_F(Media, FoldsToFewerChannelsByAveragesAndRepeatsToMore) {
    const double levels[] = {0.1, 0.2, 0.4, 0.8, 1.6};
    writeFile(path, doubleWav, 48000, 5, 10, [&](int, int c) { return levels[c]; });
    const Source source = opened();
    const std::vector<std::vector<double>> expected = {
        {(0.1 + 0.2 + 0.4 + 0.8 + 1.6) / 5},     {(0.1 + 0.4 + 1.6) / 3, (0.2 + 0.8) / 2},
        {(0.1 + 0.8) / 2, (0.2 + 1.6) / 2, 0.4}, {0.1, 0.2, 0.4, 0.8, 1.6},
        {0.1, 0.2, 0.4, 0.8, 1.6, 0.1, 0.2},
    };
    for (const auto &frame : expected) {
        const auto got = read(*source, {0.0, 48000.0, static_cast<int>(frame.size()), 1});
        ASSERT_EQ(got.size(), frame.size());
        EXPECT_LT(worstDifference(got, frame.data()), 1e-15);
    }
}

TEST_F(Media, ConvertedReadsJoinAndMatchTheSine) {
    for (const auto &[fileRate, rate] :
         {std::pair{44100, 48000.0}, {96000, 44100.0}, {44101, 48000.0}, {48000, 44100.25}}) {
        writeFile(path, SF_FORMAT_WAV | SF_FORMAT_DOUBLE, fileRate, 2, fileRate, sineAt(fileRate));
        const Source source = opened();
        const auto whole = read(*source, {0.0, rate, 3, 200000});
        EXPECT_NEAR(static_cast<double>(whole.size()) / 3, rate, 1.0);
        const Signal wanted = sineAt(rate);
        double worst = 0.0;
        for (size_t n = 1000; n < whole.size() / 3 - 1000; ++n)
            for (size_t c = 0; c < 3; ++c)
                worst =
                    std::max(worst, std::abs(whole[3 * n + c] -
                                             wanted(static_cast<int>(n), static_cast<int>(c % 2))));
        EXPECT_LT(worst, 1e-7) << fileRate << " " << rate;

        for (int block : {1024, 777}) {
            const auto parts = readAll(*source, rate, 3, block);
            ASSERT_EQ(parts.size(), whole.size()) << block;
            EXPECT_LT(worstDifference(parts, whole.data()), 1e-12) << block;
        }
        for (size_t start : {30000u, 7u, 21111u, 30000u}) {
            const auto part = read(*source, {static_cast<double>(start) / rate, rate, 3, 500});
            ASSERT_EQ(part.size(), 1500u);
            EXPECT_LT(worstDifference(part, whole.data() + 3 * start), 1e-7)
                << fileRate << " " << rate << " from " << start;
        }
    }
}

TEST_F(Media, ReadsAtTwoRatesInTurnWithoutMixingThemUp) {
    writeFile(path, doubleWav, 44100, 1, 44100, sineAt(44100.0));
    const Source mixed = opened();
    const Source plain = opened();
    const auto whole = readAll(*plain, 48000.0, 1, 1024);
    for (int n = 0; n < 20; ++n) {
        const size_t start = static_cast<size_t>(n) * 1024;
        const auto converted =
            read(*mixed, {static_cast<double>(start) / 48000.0, 48000.0, 1, 1024});
        ASSERT_EQ(converted.size(), 1024u);
        EXPECT_LT(worstDifference(converted, whole.data() + start), 1e-12);
        EXPECT_EQ(read(*mixed, {0.25, 44100.0, 1, 1}).at(0), sineAt(44100.0)(11025, 0));
    }
}

TEST_F(Media, EveryTypeReadsTheSameFromTheMiddleAsFromTheStart) {
    const std::pair<const char *, int> types[] = {
        {"a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
        {"a.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS},
        {"a.opus", SF_FORMAT_OGG | SF_FORMAT_OPUS},
        {"a.mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III},
        {"a.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24},
        {"a.caf", SF_FORMAT_CAF | SF_FORMAT_PCM_24},
        {"a.w64", SF_FORMAT_W64 | SF_FORMAT_PCM_24},
        {"a.rf64", SF_FORMAT_RF64 | SF_FORMAT_PCM_24},
        {"a.au", SF_FORMAT_AU | SF_FORMAT_PCM_16},
    };
    for (const auto &[name, format] : types) {
        path = folder.file(name);
        writeFile(path, format, 48000, 2, 48000, sineAt(48000.0));
        const Source source = opened();
        ASSERT_NE(source, nullptr) << name;
        const auto whole = readAll(*source, 48000.0, 2, 1024);
        EXPECT_NEAR(static_cast<double>(whole.size()), 2.0 * 48000, 2.0 * 2400) << name;
        // A lossy codec may add a delay, so the level is compared and not each sample.
        double power = 0.0;
        for (size_t i = 24000; i < 72000; ++i)
            power += whole[i] * whole[i] / 48000;
        EXPECT_NEAR(power, 0.125, 0.003) << name;
        const auto got = read(*source, {0.5, 48000.0, 2, 1000});
        ASSERT_EQ(got.size(), 2000u) << name;
        EXPECT_LT(worstDifference(got, whole.data() + 48000), 1e-4) << name;
    }
}

TEST_F(Media, AbsurdReadsGiveNothing) {
    writeFile(path, doubleWav, 44100, 2, 5000, counted);
    const Source source = opened();
    double room[64];
    const auto framesOf = [&](double time, double rate, int channels, int length) {
        MediaReadBlock block{};
        block.time = time;
        block.sampleRate = rate;
        block.channels = channels;
        block.length = length;
        block.samples = room;
        block.samplesOut = 77;
        source->GetSamples(&block);
        return block.samplesOut;
    };
    for (double rate : {44100.0, 48000.0}) {
        for (double time : {nan, HUGE_VAL, 1e300, 1.0})
            EXPECT_EQ(framesOf(time, rate, 2, 8), 0) << time;
        for (int bad : {INT32_MIN, -1, 0, 1025, INT32_MAX})
            EXPECT_EQ(framesOf(0.0, rate, bad, 8), 0) << bad;
        for (int bad : {INT32_MIN, -1, 0})
            EXPECT_EQ(framesOf(0.0, rate, 2, bad), 0) << bad;
        EXPECT_EQ(framesOf(-1e300, rate, 2, 8), 8);
    }
    for (double rate : {nan, 0.0, -1.0, 1e300, 1e-300, HUGE_VAL})
        EXPECT_EQ(framesOf(0.0, rate, 2, 8), 0) << rate;
    source->GetSamples(nullptr);
    MediaReadBlock noRoom{0.0, 44100.0, 2, 8, nullptr, 5, {}, 0.0, 0};
    source->GetSamples(&noRoom);
    EXPECT_EQ(noRoom.samplesOut, 0);
}

TEST_F(Media, SamplesThatAreNoNumbersReadAsSilence) {
    writeFile(path, doubleWav, 48000, 1, 3000, [](int n, int) {
        return n == 10 ? nan : n == 20 ? HUGE_VAL : 0.25;
    });
    const Source source = opened();
    const auto plain = read(*source, {0.0, 48000.0, 1, 30});
    EXPECT_EQ(plain.at(10), 0.0);
    EXPECT_EQ(plain.at(20), 0.0);
    EXPECT_EQ(plain.at(11), 0.25);
    for (double sample : readAll(*source, 44100.0, 1, 1024))
        ASSERT_TRUE(std::isfinite(sample));
}

TEST_F(Media, FilesWithoutSoundAndDamagedOnesAreToldApart) {
    const auto problem = [&](const std::string &name) {
        const std::string file = folder.file(name);
        if (const Source source{createMediaSource(file.c_str())}) {
            EXPECT_LT(readAll(*source, 44100.0, 1, 100).size(), 100000u) << name;
        }
        return mediaProblem(file.c_str());
    };
    EXPECT_EQ(problem("missing.wav"), "no such file");
    EXPECT_EQ(problem(""), "is a folder");
    EXPECT_EQ(mediaProblem(nullptr), "no file name");
    EXPECT_EQ(createMediaSource(nullptr), nullptr);
    std::ofstream(folder.file("text.wav")) << "Dear reader, this is no sound.\n";
    EXPECT_TRUE(problem("text.wav").starts_with("not a media file that can be read ("));
    std::ofstream(folder.file("nothing.wav"));
    EXPECT_TRUE(problem("nothing.wav").starts_with("not a media file that can be read ("));
    mkfifo(folder.file("pipe.wav").c_str(), 0600);
    EXPECT_EQ(problem("pipe.wav"), "not a regular file");

    writeFile(folder.file("empty.wav"), doubleWav, 44100, 2, 0, counted);
    EXPECT_EQ(problem("empty.wav"), "holds no samples");
    const Source empty(createMediaSource(folder.file("empty.wav").c_str()));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->GetLength(), 0.0);

    writeFile(folder.file("wide.wav"), doubleWav, 44100, 200, 50, counted);
    EXPECT_EQ(problem("wide.wav"), "");
    // Every byte of the header in turn spoiled: whatever opens reads without harm.
    writeFile(path, doubleWav, 44100, 2, 50, counted);
    std::ifstream in(path, std::ios::binary);
    const std::string sound((std::istreambuf_iterator<char>(in)), {});
    for (size_t at = 0; at < 60; ++at)
        for (char value : {'\0', '\xff', '\x7f'}) {
            std::string spoiled = sound;
            spoiled[at] = value;
            std::ofstream(folder.file("spoiled.wav"), std::ios::binary) << spoiled;
            problem("spoiled.wav");
        }
    for (size_t length = 0; length < 100; length += 3) {
        std::ofstream(folder.file("cut.wav"), std::ios::binary) << sound.substr(0, length);
        problem("cut.wav");
    }
}

TEST_F(Media, SinkStoresEachDepthAsNearAsItCan) {
    const double given[] = {0.0, 0.5, -0.5, 1.0, -1.0, 1.7, -1.7, 0.3, 1.6 / 32768, -1.6 / 8388608};
    for (uint8_t depth : {16, 24, 32, 64}) {
        const WaveFormatBlock format{.bitDepth = depth};
        Sink sink(createMediaSink(path.c_str(), &format, 5, 1, 44100, 0));
        ASSERT_NE(sink, nullptr);
        double *channel = const_cast<double *>(given);
        sink->WriteDoubles(&channel, 10, 1, 0, 1);
        EXPECT_FALSE(mediaSinkFailed(sink.get()));
        sink.reset();
        const auto got = read(*opened(), {0.0, 44100.0, 1, 20});
        ASSERT_EQ(got.size(), 10u);
        const double step = std::ldexp(1.0, 1 - depth);
        for (size_t i = 0; i < 10; ++i) {
            if (depth == 64)
                EXPECT_EQ(got[i], given[i]);
            else if (depth == 32)
                EXPECT_EQ(got[i], static_cast<double>(static_cast<float>(given[i])));
            else
                EXPECT_EQ(got[i], std::clamp(std::round(given[i] / step) * step, -1.0, 1.0 - step));
        }
    }
}

TEST_F(Media, SinkReadsItsChannelsAtOffsetAndSpacing) {
    std::vector<double> interleaved(6000);
    for (size_t i = 0; i < interleaved.size(); ++i)
        interleaved[i] = static_cast<double>(i);
    const WaveFormatBlock format{.bitDepth = 64};
    Sink sink(createMediaSink(path.c_str(), &format, 5, 3, 96000, 0));
    double *channels[] = {interleaved.data(), interleaved.data() + 1, nullptr};
    sink->WriteDoubles(channels, 1990, 3, 10, 3);
    sink->WriteDoubles(channels, 2, 1, 5, -1);
    sink->WriteDoubles(channels, -5, 3, 0, 1);
    sink->WriteDoubles(nullptr, 5, 3, 0, 1);
    sink.reset();
    const Source source = opened();
    EXPECT_EQ(source->GetSampleRate(), 96000.0);
    const auto got = readAll(*source, 96000.0, 3, 1024);
    ASSERT_EQ(got.size(), 3u * 1992);
    for (size_t n = 0; n < 1990; ++n) {
        ASSERT_EQ(got[3 * n], 10.0 + 3.0 * static_cast<double>(n));
        ASSERT_EQ(got[3 * n + 1], 11.0 + 3.0 * static_cast<double>(n));
        ASSERT_EQ(got[3 * n + 2], 0.0);
    }
    EXPECT_EQ((std::vector<double>(got.end() - 6, got.end())),
              (std::vector<double>{5, 0, 0, 4, 0, 0}));
}

TEST_F(Media, SinkRefusesWhatItCantWrite) {
    const auto made = [&](WaveFormatBlock format, int size, int channels, int rate) {
        return Sink(createMediaSink(path.c_str(), &format, size, channels, rate, 0)) != nullptr;
    };
    for (int depth : {0, 1, 8, 17, 33, 65, 255})
        EXPECT_FALSE(made({.bitDepth = static_cast<uint8_t>(depth)}, 5, 1, 44100)) << depth;
    EXPECT_FALSE(made({.tag = {1, 2, 3, 4}, .bitDepth = 16}, 5, 1, 44100));
    EXPECT_FALSE(made({}, 4, 1, 44100));
    for (int bad : {INT32_MIN, -1, 0, 1025, INT32_MAX})
        EXPECT_FALSE(made({}, 5, bad, 44100)) << bad;
    for (int bad : {INT32_MIN, -1, 0})
        EXPECT_FALSE(made({}, 5, 1, bad)) << bad;
    EXPECT_FALSE(made({}, 5, 1024, INT32_MAX));
    EXPECT_FALSE(std::filesystem::exists(path));
    path = folder.file("no such folder/sound.wav");
    EXPECT_FALSE(made({}, 5, 1, 44100));
    EXPECT_TRUE(mediaSinkFailed(nullptr));
}

TEST_F(Media, SinkTellsThatItLostSamplesWhenTheDiskIsFull) {
    // In a process of its own, since the limit on file sizes that plays the disk is a process's.
    const auto write = [&](int frames) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{65536, 65536};
        setrlimit(RLIMIT_FSIZE, &limit);
        const WaveFormatBlock format;
        const Sink sink(createMediaSink(path.c_str(), &format, 5, 1, 44100, 0));
        std::vector<double> sound(static_cast<size_t>(frames), 0.5);
        double *channel = sound.data();
        sink->WriteDoubles(&channel, frames, 1, 0, 1);
        std::_Exit(mediaSinkFailed(sink.get()) ? 1 : 0);
    };
    EXPECT_EXIT(write(16000), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(write(17000), testing::ExitedWithCode(1), "");
}

} // namespace tonvale::workbench
