#include "workbench/cli/sound_file.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <sndfile.hh>

namespace tonvale::test {

void writeSound(const std::string &path, const Sound &sound) {
    const auto width = static_cast<int>(sound.channels.size());
    SndfileHandle file(path, SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_DOUBLE, width, sound.rate);
    ASSERT_EQ(file.error(), 0) << path;
    Samples frame(sound.channels.size());
    for (size_t i = 0; i < sound.frames(); ++i) {
        for (size_t c = 0; c < frame.size(); ++c)
            frame[c] = sound.channels[c][i];
        file.writef(frame.data(), 1);
    }
}

Sound readSound(const std::string &path) {
    SndfileHandle file(path);
    EXPECT_EQ(file.error(), 0) << path;
    Sound sound{file.samplerate(), std::vector<Samples>(static_cast<size_t>(file.channels()))};
    Samples frame(sound.channels.size());
    while (file.readf(frame.data(), 1) == 1)
        for (size_t c = 0; c < frame.size(); ++c)
            sound.channels[c].push_back(frame[c]);
    return sound;
}

Samples noise(size_t frames, uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> level(-1.0, 1.0);
    Samples samples(frames);
    for (double &sample : samples)
        sample = level(random);
    return samples;
}

Samples convolved(const Samples &a, const Samples &b) {
    Samples result(a.size() + b.size() - 1);
    for (size_t i = 0; i < a.size(); ++i)
        for (size_t k = 0; k < b.size(); ++k)
            result[i + k] += a[i] * b[k];
    return result;
}

double largestDifference(const Samples &a, const Samples &b) {
    if (a.size() != b.size())
        return std::numeric_limits<double>::infinity();
    double largest = 0.0;
    for (size_t i = 0; i < a.size(); ++i)
        largest = std::max(largest, std::fabs(a[i] - b[i]));
    return largest;
}

void expectSound(const Sound &sound, const std::vector<Samples> &channels, double error) {
    ASSERT_EQ(sound.channels.size(), channels.size());
    for (size_t c = 0; c < channels.size(); ++c)
        EXPECT_LE(largestDifference(sound.channels[c], channels[c]), error) << "channel " << c;
}

} // namespace tonvale::test
