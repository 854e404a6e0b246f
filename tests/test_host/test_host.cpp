#include "test_host/test_host.h"

#include "convolution/containers/raw_memory.h"
#include "test_host/effect_driver.h"
#include "workbench/services/host.h"
#include "workbench/services/transforms.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>
#include <numeric>
#include <random>
#include <set>

#ifndef _WIN32
#include <fftw3.h>
#endif

namespace tonvale::test {

namespace {

std::set<std::string> &withheldNames() {
    static std::set<std::string> names;
    return names;
}

struct Medium {
    double rate;
    Channels channels;
    MediaClaims claims;
};

std::map<std::string, Medium> &media() {
    static std::map<std::string, Medium> all;
    return all;
}

std::mutex &mediaLock() {
    static std::mutex lock;
    return lock;
}

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
    std::scoped_lock scope(mediaLock());
    const auto found = media().find(path);
    if (found != media().end())
        return new MemorySource(found->second);
    const auto open = reinterpret_cast<MediaSource *(*)(const char *)>(
        workbench::hostFunction("PCM_Source_CreateFromFile"));
    return open(path);
}

std::atomic<bool> lendsUnplannedTransform{false};

#ifdef _WIN32

/// The host's transforms need no plans here.
intptr_t unplannedTransform(const std::string &name) {
    return workbench::hostFunction(name.c_str());
}

#else

void unplannedFft(double *points, int n, int inverse) {
    static std::mutex planner;
    std::scoped_lock scope(planner);
    auto *complexPoints = reinterpret_cast<fftw_complex *>(points);
    const fftw_plan plan = fftw_plan_dft_1d(n, complexPoints, complexPoints,
                                            inverse ? FFTW_BACKWARD : FFTW_FORWARD, FFTW_ESTIMATE);
    fftw_execute(plan);
    fftw_destroy_plan(plan);
}

/// By name, of the functions about transforms; those that are never called only have to be there.
intptr_t unplannedTransform(const std::string &name) {
    const bool isOptional = name == "ZUB_fft_real_8" || name == "ZUB_fft_permute_tab";
    return isOptional ? 0 : reinterpret_cast<intptr_t>(&unplannedFft);
}

#endif

intptr_t lookUp(const char *name) {
    ++hostNotes().lookups;
    if (withheldNames().count(name) != 0)
        return 0;
    if (lendsUnplannedTransform && std::strncmp(name, "ZUB_fft", 7) == 0)
        return unplannedTransform(name);
    if (std::strcmp(name, "PCM_Source_CreateFromFile") == 0)
        return reinterpret_cast<intptr_t>(&openMedia);
    return workbench::hostFunction(name);
}

/// Where bin k of a transform of n points goes.
const std::vector<int> &binOrder(int n) {
    static const auto orders = [] {
        std::map<int, std::vector<int>> all;
        std::mt19937 random(7);
        for (int size = 32; size <= 32768; size *= 2) {
            std::vector<int> order(static_cast<size_t>(size));
            std::iota(order.begin(), order.end(), 0);
            std::shuffle(order.begin(), order.end(), random);
            all[size] = std::move(order);
        }
        return all;
    }();
    return orders.at(n);
}

void permutedFft(double *points, int n, int inverse) {
    const std::vector<int> &order = binOrder(n);
    if (!inverse)
        workbench::fft(points, n, 0);
    const std::vector<double> before(points, points + 2 * n);
    for (int k = 0; k < n; ++k) {
        const int from = inverse ? order[static_cast<size_t>(k)] : k;
        const int to = inverse ? k : order[static_cast<size_t>(k)];
        std::copy_n(before.data() + 2 * from, 2, points + 2 * to);
    }
    if (inverse)
        workbench::fft(points, n, 1);
}

std::atomic<int> requestsLeft{0};
std::atomic<size_t> largestRequest{SIZE_MAX};
std::atomic<int> requestsRefused{0};

bool limitedAllocation(size_t bytes) {
    if (requestsLeft.fetch_sub(1) > 0 && bytes <= largestRequest)
        return true;
    ++requestsRefused;
    return false;
}

} // namespace

void HostNotes::clear() {
    lookups = 0;
    automateCalls = 0;
    lastAutomatedIndex = 0;
    idleRequests = 0;
}

HostNotes &hostNotes() {
    static HostNotes notes;
    return notes;
}

intptr_t testHostCallback(AEffect *effect, int32_t opcode, int32_t index, intptr_t value, void *ptr,
                          float opt) {
    if (opcode == hostLookupOpcode && index == hostLookupFunction)
        return lookUp(static_cast<const char *>(ptr));
    if (opcode == audioMasterAutomate) {
        ++hostNotes().automateCalls;
        hostNotes().lastAutomatedIndex = index;
    }
    if (opcode == audioMasterNeedIdle)
        ++hostNotes().idleRequests;
    return workbench::hostCallback(effect, opcode, index, value, ptr, opt);
}

WithheldFunction::WithheldFunction(const char *name) {
    withheldNames().insert(name);
}

WithheldFunction::~WithheldFunction() {
    withheldNames().clear();
}

void loadTestHost() {
    loadHostFunctions(testHostCallback);
}

void lendUnplannedTransform() {
    lendsUnplannedTransform = true;
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
    std::scoped_lock scope(mediaLock());
    media()["memory:" + name] = {rate, channels, claims};
}

int openMediaSources() {
    return openSources;
}

AllocationLimit::AllocationLimit(int allowed, size_t largest) {
    requestsLeft = allowed;
    largestRequest = largest;
    requestsRefused = 0;
    setAllocationGate(limitedAllocation);
}

AllocationLimit::~AllocationLimit() {
    setAllocationGate(nullptr);
}

int AllocationLimit::refused() const {
    return requestsRefused;
}

} // namespace tonvale::test
