#include "convolution/containers/raw_memory.h"
#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <cstdlib>

// Counts what a thread allocates. With the GNU C library, this program's malloc stands before the
// library's for every module in the process; elsewhere, and with sanitizers, which have a heap of
// their own, the requests that ask the gate alone are counted.

namespace {

thread_local bool counting = false;
thread_local int allocations = 0;

void note() {
    allocations += counting;
}

} // namespace

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void *__libc_memalign(size_t, size_t);

void *malloc(size_t size) {
    note();
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) {
    note();
    return __libc_calloc(count, size);
}

void *realloc(void *block, size_t size) {
    note();
    return __libc_realloc(block, size);
}

void *aligned_alloc(size_t alignment, size_t size) {
    note();
    return __libc_memalign(alignment, size);
}
}
#endif

namespace tonvale::test {
namespace {

/// While it lives, what asks the gate is counted too.
struct GateCount {
    GateCount() {
        allocations = 0;
        setAllocationGate([](size_t) {
            note();
            return true;
        });
    }
    ~GateCount() { setAllocationGate(nullptr); }
};

class SteadyState : public testing::TestWithParam<Mode> {};

TEST_P(SteadyState, AllocatesNothingOnTheAudioThread) {
    const auto &[zl, ll] = GetParam();
    const int32_t channels = zl ? 4 : 3;
    EffectDriver driver(channels);
    driver.set(3, 0.06f);
    driver.set(2, 0.01f);
    driver.set(4, 0.7f); // the width's scratch is in use
    driver.setResponse(noiseChannels(ll ? 2 : 1, 20000, 1));
    driver.hearWetOnly({zl, ll});

    Channels buffers(static_cast<size_t>(channels), noise(2048, 3));
    std::vector<double *> places;
    for (auto &channel : buffers)
        places.push_back(channel.data());
    const auto nextBlock = randomBlocks(4, 2048);
    const auto play = [&](int32_t frames) {
        driver.effect->processDoubleReplacing(driver.effect, places.data(), places.data(), frames);
        for (auto &channel : buffers)
            channel[0] = 0.1;
    };

    const GateCount gate;
    play(2048);
    for (int32_t samples = 0; samples < 44100;) {
        const int32_t frames = nextBlock();
        play(frames);
        samples += frames;
    }
    constexpr int32_t turned[] = {0, 1, 4, 5}; // what acts at the next block
    counting = true;
    for (int block = 0; block < 10000; ++block) {
        play(nextBlock());
        if (block % 1000 == 0)
            driver.set(turned[block / 1000 % 4], 0.3f + 1e-5f * static_cast<float>(block));
    }
    counting = false;
    EXPECT_EQ(allocations, 0);
}

TEST(AllocationCount, SeesAllocationsOfEitherKind) {
    const GateCount gate;
    counting = true;
    freeRaw(allocateRaw(100));
    const int raw = allocations;
    ::operator delete(::operator new(100));
    counting = false;
    EXPECT_GE(raw, 1);
    EXPECT_GT(allocations, raw);
}

INSTANTIATE_TEST_SUITE_P(Modes, SteadyState, testing::ValuesIn(allModes),
                         [](const auto &mode) { return mode.param.name(); });

} // namespace
} // namespace tonvale::test
