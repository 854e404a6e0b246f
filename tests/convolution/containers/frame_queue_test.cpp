#include "convolution/containers/frame_queue.h"
#include "test_host/allocation_limit.h"

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <random>

namespace tonvale::test {
namespace {

/// A queue beside a plain one for each of its tracks.
struct Model {
    FrameQueue queue;
    std::vector<std::deque<double>> tracks;

    /// The model's own memory is never refused, only the queue's.
    template <class Call>
    static bool underLimit(Call call) {
        const PluginSide side;
        return call();
    }

    void append(std::mt19937 &random, int32_t width) {
        const auto frames = static_cast<int32_t>(random() % 300);
        const int32_t before = queue.frameCount();
        if (!underLimit([&] { return queue.append(frames); }))
            return;
        for (size_t q = 0; q < tracks.size(); ++q) {
            for (int32_t i = 0; i < frames * width; ++i) {
                const auto sample = static_cast<double>(random());
                queue.frame(static_cast<int32_t>(q), before)[i] = sample;
                tracks[q].push_back(sample);
            }
        }
    }

    void consume(int32_t frames, int32_t width) {
        queue.consume(frames);
        for (auto &track : tracks)
            track.erase(track.begin(), track.begin() + std::clamp<int64_t>(int64_t{frames} * width,
                                                                           0, std::ssize(track)));
    }

    void setShape(int32_t count, int32_t width) {
        const auto length = static_cast<size_t>(queue.frameCount() * width);
        if (underLimit([&] { return queue.setShape(count, width); }))
            tracks.resize(static_cast<size_t>(count), std::deque<double>(length));
    }

    void expectEqual() const {
        ASSERT_EQ(queue.queueCount(), std::ssize(tracks));
        for (size_t q = 0; q < tracks.size(); ++q) {
            const double *samples = queue.frame(static_cast<int32_t>(q), 0);
            ASSERT_TRUE(std::equal(tracks[q].begin(), tracks[q].end(), samples));
        }
    }
};

TEST(FrameQueue, KeepsItsTracksInStepWhateverHappensAndWhereMemoryFails) {
    std::mt19937 random(1);
    for (const int32_t width : {1, 2}) {
        Model model;
        model.setShape(2, width);
        int refused = 0;
        for (int turn = 0; turn < 3000; ++turn) {
            const AllocationLimit limit(static_cast<int>(random() % 2));
            const HostSide side;
            const uint32_t choice = random() % 20;
            if (choice == 0)
                model.setShape(1 + static_cast<int32_t>(random() % 4), width);
            else if (choice < 10)
                model.append(random, width);
            else
                model.consume(static_cast<int32_t>(random() % 300) - 5, width);
            refused += limit.refused();
            model.expectEqual();
        }
        EXPECT_GT(refused, 0);
        EXPECT_TRUE(model.queue.setShape(3, 3 - width));
        EXPECT_EQ(model.queue.frameCount(), 0);
    }
}

} // namespace
} // namespace tonvale::test
