#include "convolution/containers/block_queue.h"
#include "convolution/containers/fifo_buffer.h"
#include "convolution/containers/impulse_buffer.h"
#include "convolution/containers/raw_memory.h"

#include "test_host/refusal_sweep.h"
#include "test_host/test_host.h"

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace tonvale::test {
namespace {

/// What a HeapBuffer owns, by its rule of growth alone.
struct GrowthModel {
    int64_t capacity = 0, size = 0, granularity = 4096;

    void resize(int64_t wanted, bool allowShrink) {
        if (wanted == size)
            return;
        int64_t lower = 0;
        if (allowShrink && wanted < size)
            lower = std::max<int64_t>(1, std::min(capacity / 2, capacity - 4 * granularity));
        size = wanted;
        if (wanted >= lower && wanted <= capacity)
            return;
        const int64_t half = std::max(wanted / 2, granularity);
        capacity = wanted + half;
        if (granularity >= 4096) {
            const int64_t slack = std::clamp<int64_t>(half / 4096 * 4096, 4096, 0x400000);
            capacity = (slack + wanted + 96) / 4096 * 4096 - 96;
        }
        if (wanted == 0)
            capacity = 0;
    }
};

TEST(HeapBuffer, FollowsItsRuleThroughRandomResizesAndKeepsItsBytes) {
    for (const auto &[size, capacity] :
         {std::pair{1, 4000}, {3145728, 4718496}, {20000000, 24190880}, {-1, 0}}) {
        HeapBuffer listed;
        listed.resize(size, false);
        EXPECT_EQ(listed.getCapacity(), capacity);
    }
    std::mt19937 random(1);
    for (const int32_t granularity : {4096, 65536, 256}) {
        HeapBuffer buffer(granularity);
        GrowthModel model{.granularity = granularity};
        std::vector<char> content;
        for (int i = 0; i < 2000; ++i) {
            const auto size = static_cast<int32_t>(random() % (1u << random() % 20));
            const bool allowShrink = random() % 2 == 0;
            auto *data = static_cast<char *>(buffer.resize(size, allowShrink));
            model.resize(size, allowShrink);
            ASSERT_EQ(buffer.getSize(), model.size);
            ASSERT_EQ(buffer.getCapacity(), model.capacity) << size << " of " << granularity;
            ASSERT_EQ(data != nullptr, size > 0);
            const auto kept = std::min<ptrdiff_t>(size, std::ssize(content));
            ASSERT_TRUE(std::equal(content.begin(), content.begin() + kept, data));
            content.resize(static_cast<size_t>(size), static_cast<char>(i));
            std::copy(content.begin() + kept, content.end(), data + kept);
        }
    }
}

size_t refusals = 0, lastRequest = 0, requests = 0;

/// Refuses the next `refusals` requests.
bool countingGate(size_t bytes) {
    lastRequest = bytes;
    ++requests;
    return refusals == 0 || --refusals == SIZE_MAX;
}

struct Memory : testing::Test {
    Memory() { setAllocationGate(countingGate); }
    ~Memory() override {
        refusals = 0;
        setAllocationGate(nullptr);
    }
};

TEST_F(Memory, RefusedForAHeapBufferIsAskedForAnewAndElseLeavesItAsItWas) {
    HeapBuffer buffer;
    auto *before = static_cast<char *>(buffer.resize(8096, false));
    std::fill_n(before, 8096, 'x');
    // Near the end of the range no sum wraps, whatever the size asked for.
    for (const int32_t size : {50000, 0x7FE00000, INT32_MAX - 4096, INT32_MAX}) {
        refusals = 2;
        EXPECT_EQ(buffer.resize(size, false), before);
        EXPECT_EQ(buffer.getSize(), 8096);
        EXPECT_TRUE(lastRequest >= static_cast<size_t>(size) && lastRequest <= INT32_MAX) << size;
    }
    refusals = 1;
    const auto *moved = static_cast<char *>(buffer.resize(50000, false));
    EXPECT_EQ(buffer.getSize(), 50000);
    EXPECT_EQ(std::count(moved, moved + 8096, 'x'), 8096);
}

TEST(AllocationLimit, RefusesEveryFormOfNewButToTheHost) {
    constexpr std::align_val_t wide{64};
    using Ask = void *(*)();
    constexpr Ask plain[] = {[] { return ::operator new(1); }, [] { return ::operator new[](1); },
                             [] { return ::operator new(1, std::nothrow); },
                             [] { return ::operator new[](1, std::nothrow); },
                             [] { return allocateRaw(1); }},
                  aligned[] = {[] { return ::operator new(1, wide); },
                               [] { return ::operator new[](1, wide); },
                               [] { return ::operator new(1, wide, std::nothrow); },
                               [] { return ::operator new[](1, wide, std::nothrow); }};
    const auto isRefused = [](Ask ask, auto... alignment) {
        try {
            void *block = ask();
            ::operator delete(block, alignment...);
            return !block;
        } catch (const std::bad_alloc &) {
            return true;
        }
    };
    forEachRefusedRequest(10, [&](const Refusal &refusal) {
        const AllocationLimit limit(refusal);
        int64_t request = 0;
        const auto check = [&](Ask ask, auto... alignment) {
            EXPECT_EQ(isRefused(ask, alignment...),
                      request >= refusal.from && request < refusal.until);
            ++request;
            const HostSide host;
            EXPECT_FALSE(isRefused(ask, alignment...));
        };
        for (const Ask ask : plain)
            check(ask);
        for (const Ask ask : aligned)
            check(ask, wide);
    });
}

TEST_F(Memory, RefusedForAListOrQueueAddsNothing) {
    int item = 0;
    PointerList<int> list;
    FifoBuffer fifo;
    BlockQueue queue;
    refusals = 4;
    EXPECT_FALSE(list.add(&item));
    EXPECT_EQ(fifo.add(&item, sizeof item), nullptr);
    refusals = 1;
    EXPECT_EQ(queue.add(&item, sizeof item), nullptr);
    EXPECT_EQ(list.getSize() + fifo.getAvailable() + queue.getAvailable(), 0);
    queue.add(&item, sizeof item);
    EXPECT_EQ(queue.add(&item, 0), nullptr);
    EXPECT_EQ(queue.add(&item, INT32_MAX), nullptr);
}

TEST_F(Memory, RefusedForAnImpulseEmptiesAllItsChannels) {
    ImpulseBuffer impulse;
    impulse.setNumChannels(3, false);
    for (const int granted : {0, 1, 2}) {
        EXPECT_EQ(impulse.setLength(100), 100);
        const AllocationLimit limit(granted);
        EXPECT_EQ(impulse.setLength(100000), 0);
        for (const int32_t i : {0, 1, 2})
            EXPECT_EQ(impulse.getChannelLength(i), 0);
    }
}

TEST_F(Memory, IsNotAskedForByQueuesInSteadyState) {
    std::vector<char> data(200000);
    FifoBuffer fifo;
    BlockQueue queue;
    for (int i = 0; i < 3000; ++i) {
        if (i == 600)
            requests = 0;
        const int32_t bytes = 1 + i % 300 * 7919 % 60000;
        fifo.add(data.data(), bytes);
        queue.add(data.data(), bytes);
        const int32_t left = i % 4 == 3 ? 0 : 30000;
        fifo.advance(std::max(fifo.getAvailable() - left, 0));
        fifo.compact(false, false);
        queue.advance(std::max(queue.getAvailable() - left, 0));
    }
    EXPECT_EQ(requests, 0u);

    // A block that is too small for what comes next is given up, not kept.
    queue.clear();
    requests = 0;
    queue.add(nullptr, 100000);
    queue.clear();
    queue.add(data.data(), 100000);
    EXPECT_EQ(requests, 1u);
    EXPECT_EQ(lastRequest, 100008u);
}

/// Random appends and reads of 1 to 200,000 bytes against a plain queue.
template <class Queue, class Read>
void expectQueue(Read readOldest) {
    std::mt19937 random(5);
    Queue queue;
    std::deque<char> model;
    for (int i = 0; i < 400; ++i) {
        const auto bytes =
            static_cast<int32_t>(1 + random() % (1u << (1 + random() % 17)) % 200000);
        std::vector<char> data(static_cast<size_t>(bytes));
        std::generate(data.begin(), data.end(), [&] { return static_cast<char>(random()); });
        ASSERT_NE(queue.add(data.data(), bytes), nullptr);
        model.insert(model.end(), data.begin(), data.end());
        ASSERT_EQ(queue.getAvailable(), std::ssize(model));
        const std::vector<char> oldest = readOldest(queue, bytes / 3, bytes);
        ASSERT_TRUE(std::equal(oldest.begin(), oldest.end(), model.begin() + bytes / 3));
        const auto gone = static_cast<int32_t>(random() % (2 * static_cast<uint32_t>(bytes)));
        queue.advance(gone);
        model.erase(model.begin(), model.begin() + std::min<ptrdiff_t>(gone, std::ssize(model)));
    }
    queue.clear();
    EXPECT_EQ(queue.getAvailable(), 0);
}

TEST(FifoBuffer, IsAQueueWhateverIsCompacted) {
    expectQueue<FifoBuffer>([turn = 0](FifoBuffer &fifo, int32_t offset, int32_t bytes) mutable {
        ++turn;
        fifo.compact(turn % 3 == 0, turn % 2 == 0);
        const char *from = static_cast<char *>(fifo.get()) + offset;
        return std::vector<char>(from, from + std::min(bytes, fifo.getAvailable() - offset));
    });
    FifoBuffer fifo;
    void *start = fifo.add("abcdefgh", 8);
    fifo.advance(4);
    fifo.compact(false, false);
    EXPECT_EQ(fifo.get(), static_cast<char *>(start) + 4) << "half was read, not more";
    fifo.advance(INT32_MIN);
    EXPECT_EQ(fifo.get(), start);
    fifo.advance(INT32_MAX);
    EXPECT_EQ(fifo.add("xy", 2), start);
}

TEST(BlockQueue, IsAQueueAcrossPartlyFilledBlocks) {
    expectQueue<BlockQueue>([](BlockQueue &queue, int32_t offset, int32_t bytes) {
        std::vector<char> out(static_cast<size_t>(bytes));
        out.resize(static_cast<size_t>(queue.getToBuffer(offset, out.data(), bytes)));
        EXPECT_EQ(std::ssize(out), std::min(bytes, queue.getAvailable() - offset));
        return out;
    });
}

TEST(ImpulseBuffer, CopiesChannelsInRotationAndAnswersMissingOnesWithTheFirst) {
    ImpulseBuffer impulse;
    EXPECT_EQ(impulse.setLength(5), 0);
    impulse.setNumChannels(0, true);
    EXPECT_EQ(impulse.setLength(2), 2);
    impulse.setNumChannels(2, false);
    impulse.getChannel(0)[1] = 1.0;
    impulse.getChannel(1)[1] = 2.0;
    impulse.setNumChannels(5, true);
    for (int32_t i = 0; const double wanted : {1, 2, 1, 2, 1, 1})
        EXPECT_EQ(impulse.getChannel(i++)[1], wanted);
    EXPECT_EQ(impulse.getChannel(-1), impulse.getChannel(0));
    // What comes back after a cut is silent.
    impulse.setLength(1);
    EXPECT_EQ(impulse.setLength(3), 3);
    EXPECT_EQ(impulse.getChannel(4)[1], 0.0);
}

} // namespace
} // namespace tonvale::test
