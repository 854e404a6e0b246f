#pragma once

#include "convolution/containers/raw_memory.h"
#include "host/host_functions.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

// A host whose media files lie in memory.

namespace tonvale {

using Signal = std::vector<double>;

struct FakeFile {
    std::vector<Signal> channels; ///< of one length
    double rate = 44100.0;
    std::optional<double> claimedSeconds{};
    std::optional<int> claimedChannels{};
};

struct WrittenFile {
    std::vector<uint8_t> format;
    int rate = 0;
    std::vector<Signal> channels;
    std::vector<int> writes; ///< frames of each
};

struct FakeMedia {
    std::map<std::string, FakeFile> files;
    std::map<std::string, WrittenFile> written;
    bool refusesSinks = false;
    int liveObjects = 0;
    std::function<void()> finishFile = [] {};
};
inline FakeMedia fakeMedia;

class FakeSource final : public MediaSource {
  public:
    explicit FakeSource(const FakeFile &from)
        : file(from) {
        ++fakeMedia.liveObjects;
    }
    void destroy(int one) override {
        EXPECT_EQ(one, 1);
        --fakeMedia.liveObjects;
        delete this;
    }
    int GetNumChannels() override {
        return file.claimedChannels.value_or(static_cast<int>(file.channels.size()));
    }
    double GetSampleRate() override { return file.rate; }
    double GetLength() override { return file.claimedSeconds.value_or(frames() / file.rate); }
    void GetSamples(MediaReadBlock *block) override {
        EXPECT_EQ(block->time, block->secondTime);
        EXPECT_EQ(block->sampleRate, file.rate);
        EXPECT_LE(block->length, 512);
        const size_t width = static_cast<size_t>(block->channels);
        double *end = block->samples + static_cast<size_t>(block->length) * width;
        EXPECT_TRUE(std::all_of(block->samples, end, [](double x) { return x == 0.0; }));
        const int position = static_cast<int>(std::lround(block->time * file.rate));
        block->samplesOut = std::clamp(frames() - position, 0, block->length);
        double *out = block->samples;
        for (int i = position; i < position + block->samplesOut; ++i) {
            for (size_t c = 0; c < width; ++c)
                *out++ = file.channels.at(c).at(static_cast<size_t>(i));
        }
    }

  private:
    int frames() const {
        return file.channels.empty() ? 0 : static_cast<int>(file.channels[0].size());
    }
    const FakeFile &file;
};

class FakeSink final : public MediaSink {
  public:
    explicit FakeSink(WrittenFile &to)
        : file(to) {
        ++fakeMedia.liveObjects;
    }
    void destroy(int one) override {
        EXPECT_EQ(one, 1);
        --fakeMedia.liveObjects;
        fakeMedia.finishFile();
        delete this;
    }
    void WriteDoubles(double **channels, int length, int count, int offset, int spacing) override {
        ASSERT_EQ(static_cast<size_t>(count), file.channels.size());
        file.writes.push_back(length);
        for (size_t c = 0; c < file.channels.size(); ++c) {
            for (int n = 0; n < length; ++n)
                file.channels[c].push_back(channels[c][offset + n * spacing]);
        }
    }

  private:
    WrittenFile &file;
};

inline MediaSource *openFake(const char *path) {
    const auto found = fakeMedia.files.find(path);
    return found == fakeMedia.files.end() ? nullptr : new FakeSource(found->second);
}

inline MediaSink *createFake(const char *path, const void *format, int formatSize, int channels,
                             int rate, int) {
    if (fakeMedia.refusesSinks)
        return nullptr;
    const auto *bytes = static_cast<const uint8_t *>(format);
    WrittenFile &file = fakeMedia.written[path];
    file.format.assign(bytes, bytes + formatSize);
    file.rate = rate;
    file.channels.resize(static_cast<size_t>(channels));
    return new FakeSink(file);
}

/// Every test ends with all host objects destroyed.
class MeasureTest : public testing::Test {
  protected:
    void SetUp() override {
        fakeMedia = {};
        hostFunctions.PCM_Source_CreateFromFile = openFake;
        hostFunctions.PCM_Sink_Create = createFake;
    }
    void TearDown() override {
        EXPECT_EQ(fakeMedia.liveObjects, 0);
        setAllocationGate(nullptr);
        hostFunctions = {};
    }
};

} // namespace tonvale
