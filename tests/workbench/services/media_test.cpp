#include "workbench/services/media.h"

#include "host/host_object_ptr.h"
#include "test_folder.h"
#include "workbench/sounds.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace tonvale::workbench {

namespace {

using test::doubleWav, test::largestDifference;
using Source = HostObjectPtr<MediaSource>;
using Sink = HostObjectPtr<MediaSink>;
using Signal = std::function<double(int frame, int channel)>;

constexpr double nan = NAN;
constexpr int lowest = std::numeric_limits<int>::min(), highest = std::numeric_limits<int>::max();

void writeFile(const std::string &path, int format, int rate, int channels, int frames,
               const Signal &signal) {
    test::Sound sound{static_cast<double>(rate), test::Channels(static_cast<size_t>(channels))};
    for (int i = 0; i < frames * channels; ++i)
        sound.channels[static_cast<size_t>(i % channels)].push_back(
            signal(i / channels, i % channels));
    test::writeSound(path, sound, format);
}

/// Every sample tells its place.
double counted(int frame, int channel) {
    return frame + 0.125 * channel;
}

Signal sineAt(double rate) {
    return [rate](int n, int c) {
        return 0.5 * std::sin(2.0 * std::numbers::pi * (700.0 + 300.0 * c) * n / rate);
    };
}

std::vector<double> read(MediaSource &source, double time, double rate, int channels, int length) {
    std::vector<double> samples(static_cast<size_t>(channels * length), -99.0);
    MediaReadBlock block{time, rate, channels, length, samples.data(), 0, {}, 0.0, 0};
    source.GetSamples(&block);
    samples.resize(static_cast<size_t>(block.samplesOut * channels));
    return samples;
}

/// From the start to the end, block by block, with something else done in between.
std::vector<double> readAll(
    MediaSource &source, double rate, int channels, int block,
    const std::function<void()> &between = [] {}) {
    std::vector<double> all;
    for (;;) {
        const auto frame = static_cast<double>(all.size() / static_cast<size_t>(channels));
        const auto part = read(source, frame / rate, rate, channels, block);
        if (part.empty())
            return all;
        all.insert(all.end(), part.begin(), part.end());
        between();
    }
}

struct Media : testing::Test {
    TestFolder folder;
    std::string path = folder.file("sound.wav");
    Source opened() { return Source(createMediaSource(path.c_str())); }
};

} // namespace

TEST_F(Media, ReadsAtTheFilesRateFromAnyTime) {
    writeFile(path, doubleWav, 44100, 2, 5000, counted);
    const Source source = opened();
    EXPECT_DOUBLE_EQ(source->GetLength(), 5000.0 / 44100.0);
    for (int start : {0, 1024, 3333, 17, 4990, 5000}) {
        const auto got = read(*source, start / 44100.0, source->GetSampleRate(), 2, 1500);
        ASSERT_EQ(got.size(), 2 * static_cast<size_t>(std::min(1500, 5000 - start)));
        for (size_t i = 0; i < got.size(); ++i)
            ASSERT_EQ(got[i], counted(start + static_cast<int>(i / 2), static_cast<int>(i % 2)));
    }
}

TEST_F(Media, FoldsToFewerChannelsByAveragesAndRepeatsToMore) {
    writeFile(path, doubleWav, 48000, 5, 10, [](int, int c) { return 1 << c; });
    for (const auto &frame : {std::vector<double>{31.0 / 5},
                              {21.0 / 3, 10.0 / 2},
                              {9.0 / 2, 18.0 / 2, 4},
                              {1, 2, 4, 8, 16, 1, 2}}) {
        const auto got = read(*opened(), 0.0, 48000.0, static_cast<int>(frame.size()), 1);
        EXPECT_LT(largestDifference(got, frame), 1e-14);
    }
}

TEST_F(Media, ConvertedReadsJoinWhateverIsReadInBetween) {
    for (const auto &[fileRate, rate] : {std::pair{96000, 44100.0}, {44101, 48000.25}}) {
        writeFile(path, doubleWav, fileRate, 2, fileRate, sineAt(fileRate));
        const Source source = opened();
        const auto whole = read(*source, 0.0, rate, 3, 200000);
        EXPECT_NEAR(static_cast<double>(whole.size()) / 3, rate, 1.0);
        const auto readOther = [&, native = fileRate] { read(*source, 0.25, native, 1, 1); };
        for (const auto &parts :
             {readAll(*source, rate, 3, 777), readAll(*source, rate, 3, 1024, readOther)})
            EXPECT_LT(largestDifference(parts, whole), 1e-12);
        for (size_t start : {30000u, 7u, 21111u, 30000u}) {
            const auto part = read(*source, static_cast<double>(start) / rate, rate, 3, 500);
            EXPECT_LT(largestDifference(part, std::span(whole).subspan(3 * start, 1500)), 1e-7);
        }
    }
}

TEST_F(Media, EveryTypeReadsTheSameFromTheMiddleAsFromTheStart) {
    for (int format : {SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_OGG | SF_FORMAT_VORBIS,
                       SF_FORMAT_OGG | SF_FORMAT_OPUS, SF_FORMAT_AIFF | SF_FORMAT_PCM_24,
                       SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III}) {
        writeFile(path, format, 48000, 2, 48000, sineAt(48000.0));
        const Source source = opened();
        ASSERT_NE(source, nullptr) << std::hex << format;
        const auto whole = readAll(*source, 48000.0, 2, 1024);
        const auto got = read(*source, 0.5, 48000.0, 2, 1000);
        EXPECT_LT(largestDifference(got, std::span(whole).subspan(48000, 2000)), 1e-4)
            << std::hex << format;
        EXPECT_GT(*std::max_element(got.begin(), got.end()), 0.45);
    }
}

TEST_F(Media, AbsurdReadsAndSamplesGiveNothing) {
    const auto spoiled = [](int n, int) { return n == 10 ? nan : n == 20 ? HUGE_VAL : 0.25; };
    writeFile(path, doubleWav, 44100, 2, 5000, spoiled);
    const Source source = opened();
    for (double rate : {44100.0, 48000.0}) {
        for (double sample : readAll(*source, rate, 1, 1024))
            ASSERT_LT(std::abs(sample), 0.5);
        for (double time : {nan, HUGE_VAL, 1e300, 1.0})
            EXPECT_TRUE(read(*source, time, rate, 2, 8).empty()) << time;
        EXPECT_EQ(read(*source, -1e300, rate, 2, 8).size(), 16u);
    }
    for (double rate : {nan, 0.0, -1.0, 1e300, 1e-300, HUGE_VAL})
        EXPECT_TRUE(read(*source, 0.0, rate, 2, 8).empty()) << rate;
    double room[8];
    for (int bad : {lowest, -1, 0, 1025, highest}) {
        MediaReadBlock channels{0.0, 44100.0, bad, 8, room, 77, {}, 0.0, 0};
        MediaReadBlock length{0.0, 48000.0, 1, std::min(bad, 0), room, 77, {}, 0.0, 0};
        source->GetSamples(&channels);
        source->GetSamples(&length);
        EXPECT_EQ(channels.samplesOut + length.samplesOut, 0) << bad;
    }
    source->GetSamples(nullptr);
}

TEST_F(Media, FilesThatAreDamagedOrHoldNoSoundDoNoHarm) {
    const auto problem = [&](const std::string &name) {
        const std::string file = folder.file(name);
        if (const Source source{createMediaSource(file.c_str())})
            readAll(*source, 44100.0, 1, 100);
        return mediaProblem(file.c_str());
    };
    writeFile(path, doubleWav, 44100, 2, 50, counted);
    const std::string sound = contents(path);
    // Every byte of the header in turn spoiled: whatever opens reads to an end without harm.
    for (size_t at = 0; at < 60; ++at)
        for (char value : {'\0', '\xff', '\x7f'}) {
            std::string spoiled = sound.substr(0, sound.size() - at);
            spoiled[at] = value;
            std::ofstream(folder.file("spoiled.wav"), std::ios::binary) << spoiled;
            problem("spoiled.wav");
        }
    mkfifo(folder.file("pipe.wav").c_str(), 0600);
    EXPECT_EQ(problem("pipe.wav"), "not a regular file");
    writeFile(folder.file("empty.wav"), doubleWav, 44100, 2, 0, counted);
    EXPECT_EQ(problem("empty.wav"), "holds no samples");
    EXPECT_EQ(problem("sound.wav"), "");
    EXPECT_EQ(createMediaSource(nullptr), nullptr);
}

TEST_F(Media, SinkStoresWhatLiesAtOffsetAndSpacingAsNearAsItCan) {
    double given[] = {0.0, 0.5, -0.5, 1.0, -1.0, 1.7, -1.7, 0.3, 1.6 / 32768, -1.6 / 8388608};
    for (const uint8_t depth : {16, 24, 32, 64}) {
        const WaveFormatBlock format{.bitDepth = depth};
        double *channels[] = {given, given + 1, nullptr};
        Sink sink(createMediaSink(path.c_str(), &format, 5, 3, 44100, 0));
        sink->WriteDoubles(channels, 4, 3, 1, 2);
        sink->WriteDoubles(channels, 1, 1, 0, -1);
        sink->WriteDoubles(channels, -5, 3, 0, 1);
        sink.reset();
        const auto got = read(*opened(), 0.0, 44100.0, 3, 20);
        ASSERT_EQ(got.size(), 15u);
        const double step = std::ldexp(1.0, 1 - depth);
        for (size_t i = 0; i < 12; ++i) {
            const double value = i % 3 < 2 ? given[1 + i / 3 * 2 + i % 3] : 0.0;
            const double rounded = std::clamp(std::round(value / step) * step, -1.0, 1.0 - step);
            const double single = static_cast<float>(value);
            EXPECT_EQ(got[i], depth < 32 ? rounded : depth == 32 ? single : value);
        }
    }
}

TEST_F(Media, SinkRefusesWhatItCantWrite) {
    const auto made = [&](WaveFormatBlock format, int size, int channels, int rate) {
        return Sink(createMediaSink(path.c_str(), &format, size, channels, rate, 0)) != nullptr;
    };
    for (uint8_t depth : {0, 1, 8, 17, 33, 65, 255})
        EXPECT_FALSE(made({.bitDepth = depth}, 5, 1, 44100)) << depth;
    EXPECT_FALSE(made({.tag = {1, 2, 3, 4}}, 5, 1, 44100) || made({}, 4, 1, 44100));
    for (int bad : {lowest, -1, 0, 1025, highest})
        EXPECT_FALSE(made({}, 5, bad, 44100) || made({}, 5, 1, std::min(bad, 0))) << bad;
    EXPECT_FALSE(made({}, 5, 1024, highest));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Media, SinkTellsThatItLostSamplesWhenTheDiskIsFull) {
    // In a process of its own, since the limit on file sizes that plays the disk is a process's.
    const auto write = [&](int frames) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{65536, 65536};
        setrlimit(RLIMIT_FSIZE, &limit);
        const WaveFormatBlock format;
        const Sink sink(createMediaSink(path.c_str(), &format, 5, 1, 44100, 0));
        double sound[17000] = {}, *channel = sound;
        sink->WriteDoubles(&channel, frames, 1, 0, 1);
        std::_Exit(mediaSinkFailed(sink.get()) ? 1 : 0);
    };
    EXPECT_EXIT(write(16000), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(write(17000), testing::ExitedWithCode(1), "");
}

} // namespace tonvale::workbench
