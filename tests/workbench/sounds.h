#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <sndfile.hh>
#include <span>
#include <string>
#include <vector>

namespace tonvale::test {

using Samples = std::vector<double>;

/// A sound as it lies in a file: one vector a channel, all of one length.
struct Sound {
    int rate = 48000;
    std::vector<Samples> channels;
};

constexpr int doubleWav = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;

inline void writeSound(const std::string &path, const Sound &sound, int format = doubleWav) {
    const size_t width = sound.channels.size();
    SndfileHandle file(path, SFM_WRITE, format, static_cast<int>(width), sound.rate);
    ASSERT_EQ(file.error(), 0) << path;
    Samples interleaved(width * sound.channels[0].size());
    for (size_t i = 0; i < interleaved.size(); ++i)
        interleaved[i] = sound.channels[i % width][i / width];
    file.write(interleaved.data(), static_cast<sf_count_t>(interleaved.size()));
}

/// Fails the running test when there is no such file.
inline Sound readSound(const std::string &path) {
    SndfileHandle file(path);
    EXPECT_EQ(file.error(), 0) << path;
    const auto width = static_cast<size_t>(file.channels());
    Samples interleaved(width * static_cast<size_t>(file.frames()));
    file.read(interleaved.data(), static_cast<sf_count_t>(interleaved.size()));
    Sound sound{file.samplerate(), std::vector<Samples>(width)};
    for (size_t i = 0; i < interleaved.size(); ++i)
        sound.channels[i % width].push_back(interleaved[i]);
    return sound;
}

/// Noise that is the same for the same seed, from -1 to 1.
inline Samples noise(size_t frames, uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> level(-1.0, 1.0);
    Samples samples(frames);
    for (double &sample : samples)
        sample = level(random);
    return samples;
}

/// Infinite where the lengths differ.
inline double largestDifference(std::span<const double> a, std::span<const double> b) {
    double largest = a.size() == b.size() ? 0.0 : HUGE_VAL;
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        largest = std::max(largest, std::fabs(a[i] - b[i]));
    return largest;
}

} // namespace tonvale::test
