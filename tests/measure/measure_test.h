#pragma once

#include "host/host_object_ptr.h"
#include "measure/measure_outcome.h"
#include "test_host/effect_driver.h"
#include "tests/workbench/services/test_folder.h"

#include <cmath>
#include <gtest/gtest.h>

namespace tonvale::test {

inline HostObjectPtr<MediaSource> openMedia(const std::string &path) {
    return HostObjectPtr<MediaSource>(hostFunctions.PCM_Source_CreateFromFile(path.c_str()));
}

inline Sound readFile(const std::string &path) {
    const auto source = openMedia(path);
    if (!source)
        return {};
    Sound sound{source->GetSampleRate(), Channels(static_cast<size_t>(source->GetNumChannels()))};
    const auto frames = static_cast<size_t>(std::lround(source->GetLength() * sound.rate));
    std::vector<double> samples(frames * sound.channels.size());
    MediaReadBlock block{};
    block.sampleRate = sound.rate;
    block.channels = source->GetNumChannels();
    block.length = static_cast<int32_t>(frames);
    block.samples = samples.data();
    source->GetSamples(&block);
    EXPECT_EQ(block.samplesOut, block.length);
    for (size_t i = 0; i < samples.size(); ++i)
        sound.channels[i % sound.channels.size()].push_back(samples[i]);
    return sound;
}

/// Has a folder for what is written. Every test ends with all sources closed.
class MeasureTest : public testing::Test {
  protected:
    void SetUp() override { loadTestHost(); }
    void TearDown() override { EXPECT_EQ(openMediaSources(), 0); }

    workbench::TestFolder folder;
    const std::string out = folder.file("out-é.wav");
};

} // namespace tonvale::test
