#include "test_host/test_host.h"

#include "test_host/effect_driver.h"
#include "test_host/host_side_functions.h"
#include "workbench/services/host.h"
#include "workbench/services/transforms.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <mutex>
#include <set>

namespace tonvale::test {

namespace {

std::set<std::string> withheldNames;

struct Medium {
    double rate;
    Channels channels;
    MediaClaims claims;
};

std::mutex mediaLock;
std::map<std::string, Medium> media; ///< by path; what is in it stays. Under mediaLock
std::atomic<int> openSources{0};

/// Reads samples as they are; a stage that wants another rate has to resample.
class MemorySource final : public MediaSource {
  public:
    explicit MemorySource(const Medium &medium)
        : source(medium) {
        ++openSources;
    }
    void destroy(int) override {
        --openSources;
        delete this;
    }
    int GetNumChannels() override {
        return source.claims.channels.value_or(static_cast<int>(source.channels.size()));
    }
    double GetSampleRate() override { return source.rate; }
    double GetLength() override {
        return source.claims.seconds.value_or(static_cast<double>(frames()) / source.rate);
    }
    void GetSamples(MediaReadBlock *block) override {
        const auto start = static_cast<size_t>(std::llround(block->time * source.rate));
        const size_t left = start < frames() ? frames() - start : 0;
        const size_t count = std::min(left, static_cast<size_t>(block->length));
        for (size_t i = 0; i < count; ++i) {
            for (int c = 0; c < block->channels; ++c)
                *block->samples++ = sample(start + i, c, block->channels);
        }
        block->samplesOut = static_cast<int32_t>(count);
    }

  private:
    size_t frames() const { return source.channels.empty() ? 0 : source.channels[0].size(); }
    double sample(size_t frame, int channel, int wanted) const {
        if (wanted > 1 || source.channels.size() == 1)
            return source.channels[static_cast<size_t>(channel)][frame];
        double sum = 0.0;
        for (const auto &c : source.channels)
            sum += c[frame];
        return sum / static_cast<double>(source.channels.size());
    }

    const Medium &source;
};

MediaSource *openMedia(const char *path) {
    std::scoped_lock scope(mediaLock);
    const auto found = media.find(path);
    if (found != media.end())
        return new MemorySource(found->second);
    const auto open = reinterpret_cast<MediaSource *(*)(const char *)>(
        workbench::hostFunction("PCM_Source_CreateFromFile"));
    return open(path);
}

intptr_t lookUp(const char *name) {
    ++hostNotes().lookups;
    if (withheldNames.count(name) != 0)
        return 0;
    if (std::strcmp(name, "PCM_Source_CreateFromFile") == 0)
        return reinterpret_cast<intptr_t>(&openMedia);
    return workbench::hostFunction(name);
}

/// Where bin k of a transform of n points goes: steps that lose no number below a power of two.
int placeOfBin(int k, int n) {
    auto place = static_cast<uint32_t>(k) * 0x9E3779B1u % static_cast<uint32_t>(n);
    place ^= place >> 3;
    return static_cast<int>((place * 0x85EBCA6Bu + 5) % static_cast<uint32_t>(n));
}

void permutedFft(double *points, int n, int inverse) {
    const HostSide side;
    if (!inverse)
        workbench::fft(points, n, 0);
    const Samples before(points, points + 2 * n);
    for (int k = 0; k < n; ++k) {
        const int from = inverse ? placeOfBin(k, n) : k;
        const int to = inverse ? k : placeOfBin(k, n);
        std::copy_n(before.data() + 2 * from, 2, points + 2 * to);
    }
    if (inverse)
        workbench::fft(points, n, 1);
}

} // namespace

void HostNotes::clear() {
    lookups = automateCalls = lastAutomatedIndex = idleRequests = 0;
}

HostNotes &hostNotes() {
    static HostNotes notes;
    return notes;
}

intptr_t testHostCallback(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                          float opt) {
    const HostSide side;
    if (opcode == hostLookupOpcode && index == hostLookupFunction) {
        const auto *name = static_cast<const char *>(ptr);
        return onHostSide(name, lookUp(name));
    }
    if (opcode == audioMasterAutomate) {
        ++hostNotes().automateCalls;
        hostNotes().lastAutomatedIndex = index;
    }
    if (opcode == audioMasterNeedIdle)
        ++hostNotes().idleRequests;
    return workbench::hostCallback(effect, opcode, index, value, ptr, opt);
}

WithheldFunction::WithheldFunction(const char *name) {
    withheldNames.insert(name);
}

WithheldFunction::~WithheldFunction() {
    withheldNames.clear();
}

void loadTestHost() {
    loadHostFunctions(testHostCallback);
}

PermutedTransform::PermutedTransform() {
    // An effect fetches the functions only once, and would undo what is put in place before that.
    EffectDriver firstEffect;
    before = hostFunctions.ZUB_fft_8;
    hostFunctions.ZUB_fft_8 = permutedFft;
}

PermutedTransform::~PermutedTransform() {
    hostFunctions.ZUB_fft_8 = before;
}

void putMedia(const std::string &name, double rate, const Channels &channels,
              const MediaClaims &claims) {
    std::scoped_lock scope(mediaLock);
    media["memory:" + name] = {rate, channels, claims};
}

int openMediaSources() {
    return openSources;
}

} // namespace tonvale::test
