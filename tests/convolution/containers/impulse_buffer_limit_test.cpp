#include "convolution/containers/impulse_buffer.h"
#include "test_host/test_host.h"

#include <gtest/gtest.h>

namespace tonvale::test {
namespace {

TEST(ImpulseBufferLimit, AsksForNoMemoryThatAllChannelsTogetherMayNotHave) {
    constexpr int32_t channels = 128;
    constexpr int32_t longest = (1 << 28) / channels;
    ImpulseBuffer impulse;
    impulse.setNumChannels(channels, false);
    ASSERT_EQ(impulse.setLength(100), 100);

    AllocationLimit limit(INT32_MAX, 1 << 20);
    EXPECT_EQ(impulse.setLength(longest), 0);
    EXPECT_EQ(limit.refused(), 0);
    EXPECT_EQ(impulse.setLength(longest - 1), 0);
    EXPECT_GT(limit.refused(), 0) << "what they may have is asked for";
    EXPECT_EQ(impulse.getNumChannels(), channels);
    EXPECT_EQ(impulse.setLength(100), 100);
}

} // namespace
} // namespace tonvale::test
