#pragma once

#include "test_host/signals.h"

#include <gtest/gtest.h>
#include <sndfile.hh>
#include <string>

namespace tonvale::test {

constexpr int doubleWav = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;

inline void writeSound(const std::string &path, const Sound &sound, int format = doubleWav) {
    const size_t width = sound.channels.size();
    SndfileHandle file(path, SFM_WRITE, format, static_cast<int>(width),
                       static_cast<int>(sound.rate));
    ASSERT_EQ(file.error(), 0) << path;
    Samples interleaved(width * sound.length());
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
    Sound sound{static_cast<double>(file.samplerate()), Channels(width)};
    for (size_t i = 0; i < interleaved.size(); ++i)
        sound.channels[i % width].push_back(interleaved[i]);
    return sound;
}

} // namespace tonvale::test
