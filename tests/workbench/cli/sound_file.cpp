#include "workbench/cli/sound_file.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <sndfile.h>

namespace tonvale::test {

void writeSound(const std::string &path, const Sound &sound) {
    SF_INFO info{};
    info.samplerate = sound.rate;
    info.channels = static_cast<int>(sound.channels.size());
    info.format = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;
    SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << path;
    Samples interleaved;
    for (size_t i = 0; i < sound.frames(); ++i)
        for (const Samples &channel : sound.channels)
            interleaved.push_back(channel[i]);
    sf_writef_double(file, interleaved.data(), static_cast<sf_count_t>(sound.frames()));
    sf_close(file);
}

Sound readSound(const std::string &path) {
    SF_INFO info{};
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) {
        ADD_FAILURE() << path << " is no sound file";
        return {};
    }
    const auto width = static_cast<size_t>(info.channels);
    const auto frames = static_cast<size_t>(info.frames);
    Samples interleaved(frames * width);
    sf_readf_double(file, interleaved.data(), info.frames);
    sf_close(file);
    Sound sound{info.samplerate, std::vector<Samples>(width, Samples(frames))};
    for (size_t i = 0; i < interleaved.size(); ++i)
        sound.channels[i % width][i / width] = interleaved[i];
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

} // namespace tonvale::test
