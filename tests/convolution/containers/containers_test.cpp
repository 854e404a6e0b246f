#include "convolution/containers/block_queue.h"
#include "convolution/containers/fifo_buffer.h"
#include "convolution/containers/impulse_buffer.h"
#include "convolution/containers/raw_memory.h"

#include "test_host/allocation_limit.h"

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <optional>
#include <random>
#include <vector>

namespace tonvale::test {
namespace {

TEST(HeapBuffer, KeepsItsBytesAndMovesToABlockWithSlackOnlyWhereItMustOrShould) {
    std::mt19937 random(1);
    for (const int32_t granularity : {4096, 65536, 256}) {
        HeapBuffer buffer(granularity);
        std::vector<char> content;
        for (int i = 0; i < 400; ++i) {
            const int32_t held = buffer.getSize(), before = buffer.getCapacity();
            const auto size = static_cast<int32_t>(
                random() % (i % 2 ? 1u << random() % 26 : static_cast<uint32_t>(held) + 1));
            const bool allowShrink = random() % 2 == 0;
            auto *data = static_cast<char *>(buffer.resize(size, allowShrink));
            ASSERT_EQ(buffer.getSize(), size);
            ASSERT_EQ(data != nullptr, size > 0);

            const bool isIdle = 2 * int64_t{size} < before && size < before - 4 * granularity;
            const bool stays = size <= before && !(allowShrink && size < held && isIdle);
            const int32_t most = granularity < 4096 ? INT32_MAX : 1 << 22;
            const int32_t slack = std::clamp(size / 2, granularity, most);
            if (stays && size > 0) {
                ASSERT_EQ(buffer.getCapacity(), before);
            } else if (size > 0) {
                ASSERT_NEAR(buffer.getCapacity(), size + slack, 8192) << size;
            }

            const auto kept = std::min<ptrdiff_t>(size, std::ssize(content));
            ASSERT_TRUE(std::equal(content.begin(), content.begin() + kept, data));
            content.resize(static_cast<size_t>(size), static_cast<char>(i));
            std::copy(content.begin() + kept, content.end(), data + kept);
        }
        for (const int32_t none : {-1, -2}) {
            buffer.resize(none, true);
            EXPECT_TRUE(buffer.getSize() == 0 && buffer.getCapacity() == 0);
        }
    }
}

size_t asked = 0;

TEST(HeapBuffer, AsksAnewWhereABlockCanNotGrowAndElseStaysAsItWas) {
    HeapBuffer buffer;
    auto *before = static_cast<char *>(buffer.resize(8096, false));
    std::fill_n(before, 8096, 'x');
    // Near the end of the range no sum wraps, whatever the size asked for.
    for (const int32_t size : {50000, 0x7FE00000, INT32_MAX - 4096, INT32_MAX}) {
        setAllocationGate([](size_t bytes) {
            asked = bytes;
            return false;
        });
        EXPECT_EQ(buffer.resize(size, false), before);
        setAllocationGate(nullptr);
        EXPECT_EQ(buffer.getSize(), 8096);
        EXPECT_TRUE(asked >= static_cast<size_t>(size) && asked <= INT32_MAX) << size;
    }
    const AllocationLimit limit({.from = 0, .until = 1});
    const auto *moved = static_cast<char *>(buffer.resize(50000, false));
    EXPECT_EQ(buffer.getSize(), 50000);
    EXPECT_EQ(std::count(moved, moved + 8096, 'x'), 8096);
}

TEST(AllocationLimit, RefusesEveryFormOfNewButToTheHost) {
    static constexpr std::align_val_t wide{64};
    static constexpr auto isNull = [](void *block, auto... alignment) {
        const bool result = !block;
        ::operator delete(block, alignment...);
        return result;
    };
    bool (*const forms[])() = {
        [] { return isNull(::operator new(1)); },
        [] { return isNull(::operator new(1, std::nothrow)); },
        [] { return isNull(::operator new(1, wide), wide); },
        [] { return isNull(::operator new(1, wide, std::nothrow), wide); },
    };
    const auto isRefused = [&](int64_t form) {
        try {
            return forms[form]();
        } catch (const std::bad_alloc &) {
            return true;
        }
    };
    forEachRefusedRequest(10, [&](const Refusal &refusal) {
        const AllocationLimit limit(refusal);
        for (int64_t i = 0; i < std::ssize(forms); ++i) {
            EXPECT_EQ(isRefused(i), i >= refusal.from && i < refusal.until) << i;
            const HostSide host;
            EXPECT_FALSE(isRefused(i));
        }
    });
}

TEST(Containers, AddAllOrNothingWhereMemoryIsRefused) {
    forEachRefusedRequest(20, [](const Refusal &refusal) {
        int item = 0;
        char bytes[9008];
        PointerList<int> list;
        FifoBuffer fifo;
        BlockQueue queue;
        int32_t added = 0;
        {
            const AllocationLimit limit(refusal);
            added += list.add(&item);
            for (const int32_t count : {8, 9000}) {
                added += fifo.add(nullptr, count) ? count : 0;
                added += queue.add(nullptr, count) ? count : 0;
            }
        }
        EXPECT_EQ(list.getSize() + fifo.getAvailable() + queue.getToBuffer(0, bytes, 9008), added);
    });
}

TEST(ImpulseBuffer, HasChannelsOfOneLengthWhateverIsRefused) {
    forEachRefusedRequest(20, [](const Refusal &refusal) {
        ImpulseBuffer impulse;
        impulse.setNumChannels(2, false);
        EXPECT_EQ(impulse.setLength(100), 100);
        {
            const AllocationLimit limit(refusal);
            impulse.setNumChannels(3, true);
            impulse.setLength(100000);
        }
        EXPECT_GE(impulse.getNumChannels(), 2);
        EXPECT_TRUE(impulse.getLength() == 0 || impulse.getLength() == 100000);
        for (const int32_t i : {1, 2})
            EXPECT_EQ(impulse.getChannelLength(i), impulse.getLength());
    });
}

TEST(ImpulseBuffer, AsksForNoMemoryThatAllChannelsTogetherMayNotHave) {
    constexpr int32_t channels = 128, longest = (1 << 28) / channels;
    ImpulseBuffer impulse;
    impulse.setNumChannels(channels, false);
    const AllocationLimit limit(INT64_MAX, 1 << 20);
    EXPECT_EQ(impulse.setLength(longest), 0);
    EXPECT_EQ(limit.refused(), 0);
    EXPECT_EQ(impulse.setLength(longest - 1), 0);
    EXPECT_GT(limit.refused(), 0) << "what they may have is asked for";
    EXPECT_EQ(impulse.setLength(100), 100);
}

TEST(Containers, AskForNoMemoryInSteadyState) {
    std::vector<char> data(200000);
    FifoBuffer fifo;
    BlockQueue queue;
    std::optional<AllocationLimit> limit;
    for (int i = 0; i < 3000; ++i) {
        if (i == 600)
            limit.emplace(0);
        const int32_t bytes = 1 + i % 300 * 7919 % 60000;
        fifo.add(data.data(), bytes);
        queue.add(data.data(), bytes);
        const int32_t left = i % 4 == 3 ? 0 : 30000;
        fifo.advance(std::max(fifo.getAvailable() - left, 0));
        fifo.compact(false, false);
        queue.advance(std::max(queue.getAvailable() - left, 0));
    }
    EXPECT_EQ(limit->refused(), 0);

    // A block that is too small for what comes next is given up, not kept.
    limit.emplace(Refusal{.above = 100100});
    queue.clear();
    queue.add(nullptr, 70000);
    queue.clear();
    EXPECT_NE(queue.add(data.data(), 100000), nullptr);
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
    EXPECT_EQ(fifo.add("xy", -1), nullptr);
}

TEST(BlockQueue, IsAQueueAcrossPartlyFilledBlocks) {
    expectQueue<BlockQueue>([](BlockQueue &queue, int32_t offset, int32_t bytes) {
        std::vector<char> out(static_cast<size_t>(bytes));
        out.resize(static_cast<size_t>(queue.getToBuffer(offset, out.data(), bytes)));
        EXPECT_EQ(std::ssize(out), std::min(bytes, queue.getAvailable() - offset));
        return out;
    });
    BlockQueue queue;
    queue.add("x", 1);
    EXPECT_EQ(queue.add("x", 0), nullptr);
    EXPECT_EQ(queue.add("x", INT32_MAX), nullptr);
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
