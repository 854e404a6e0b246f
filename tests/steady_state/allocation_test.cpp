#include "convolution/containers/raw_memory.h"
#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <cstdlib>

// Counts what a thread allocates. With the GNU C library, this program's malloc stands before the
// library's for every module in the process; elsewhere, and with sanitizers, which have a heap of
// their own, the requests of the containers alone are counted.

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

struct Mode {
    const char *name;
    bool zl;
    bool ll;
    int32_t channels;
    size_t responseChannels;
};

class SteadyState : public testing::TestWithParam<Mode> {};

TEST_P(SteadyState, AllocatesNothingOnTheAudioThread) {
    const Mode mode = GetParam();
    Channels response;
    for (size_t c = 0; c < mode.responseChannels; ++c)
        response.push_back(roomNoise(20000, static_cast<uint32_t>(c)));
    putMedia("room", 44100.0, response);
    EffectDriver driver(mode.channels);
    driver.set(3, 0.06f);
    driver.set(2, 0.01f);
    driver.set(4, 0.7f); // the width's scratch is in use
    ASSERT_EQ(driver.setChain({"FILELDR \"memory:room\" 60"}), 1);
    driver.hearWetOnly(mode.zl, mode.ll);

    Channels buffers(static_cast<size_t>(mode.channels), noise(2048, 3));
    std::vector<double *> places;
    for (auto &channel : buffers)
        places.push_back(channel.data());
    const auto nextBlock = randomBlocks(4, 2048);
    const auto play = [&](int32_t frames) {
        driver.effect->processDoubleReplacing(driver.effect, places.data(), places.data(), frames);
        for (auto &channel : buffers)
            channel[0] = 0.1;
    };

    setAllocationGate([](size_t) {
        note();
        return true;
    });
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
    setAllocationGate(nullptr);
    EXPECT_EQ(allocations, 0);
    allocations = 0;
}

TEST(AllocationCount, SeesAnAllocation) {
    counting = true;
    setAllocationGate([](size_t) {
        note();
        return true;
    });
    freeRaw(allocateRaw(100));
    setAllocationGate(nullptr);
    counting = false;
    EXPECT_GE(allocations, 1);
    allocations = 0;
}

INSTANTIATE_TEST_SUITE_P(Modes, SteadyState,
                         testing::Values(Mode{"ZeroLatency", true, false, 2, 2},
                                         Mode{"Plain", false, false, 3, 1},
                                         Mode{"ZeroLatencyWithWorker", true, true, 4, 2},
                                         Mode{"PlainWithWorker", false, true, 2, 1}),
                         [](const auto &row) { return row.param.name; });

} // namespace
} // namespace tonvale::test
