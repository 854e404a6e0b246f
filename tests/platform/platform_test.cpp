#include "platform/auto_reset_event.h"
#include "platform/critical_section.h"
#include "platform/flush_to_zero.h"

#include <atomic>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace tonvale {
namespace {

using namespace std::chrono_literals;

TEST(AutoResetEvent, LetsOneWaitThroughForAnyNumberOfSignals) {
    AutoResetEvent event;
    EXPECT_FALSE(event.wait(0ms));
    event.signal();
    event.signal();
    EXPECT_TRUE(event.wait(0ms));
    EXPECT_FALSE(event.wait(1ms));
    std::thread other([&] { event.signal(); });
    EXPECT_TRUE(event.wait(20s));
    other.join();
}

TEST(CriticalSection, ExcludesOthersUntilItIsLeftAsOftenAsEntered) {
    CriticalSection section;
    std::atomic<bool> entered{false};
    section.lock();
    section.lock();
    std::thread other([&] {
        const CriticalScope scope(section);
        entered = true;
    });
    section.unlock();
    std::this_thread::sleep_for(20ms);
    EXPECT_FALSE(entered);
    section.unlock();
    other.join();
    EXPECT_TRUE(entered);
}

TEST(FlushToZeroScope, FlushesToItsEndAndNotBeyond) {
    const auto halved = [] {
        volatile double least = std::numeric_limits<double>::min();
        return least / 2;
    };
    std::thread([&] {
        {
            const FlushToZeroScope outer;
            { const FlushToZeroScope inner; }
            EXPECT_EQ(halved(), 0.0);
        }
        EXPECT_GT(halved(), 0.0);
    }).join();
}

} // namespace
} // namespace tonvale
