#include "fuzz/fuzzed_effect.h"

#include <cstdio>
#include <cstdlib>

namespace tonvale::test {

namespace {

constexpr float sampleRate = 2000.0f;
constexpr size_t largestBlock = 256 * 1024;
constexpr int32_t frames = 96;

} // namespace

void require(bool holds, const char *claim) {
    if (holds)
        return;
    std::fprintf(stderr, "Broken: %s\n", claim);
    std::abort();
}

std::vector<char> exactText(std::string_view text) {
    text = text.substr(0, text.find('\0'));
    std::vector<char> copy(text.begin(), text.end());
    copy.push_back('\0');
    copy.shrink_to_fit();
    return copy;
}

FuzzedEffect::FuzzedEffect()
    : limit(INT32_MAX, largestBlock) {
    static const bool hasMedia = [] {
        putMedia("room", 3000.0, {roomNoise(600, 1), roomNoise(600, 2)});
        return true;
    }();
    require(hasMedia, "the media file is there");
    dispatch(effSetSampleRate, 0, 0, nullptr, sampleRate);
}

void FuzzedEffect::hear() {
    const int32_t channels = effect->numInputs;
    require(channels >= 1 && channels <= 128 && channels == effect->numOutputs,
            "the channel count is one that can be");
    process(Channels(static_cast<size_t>(channels), noise(frames, 3)), frames);
}

} // namespace tonvale::test
