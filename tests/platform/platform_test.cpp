#include "platform/auto_reset_event.h"
#include "platform/critical_section.h"
#include "platform/flush_to_zero.h"
#include "platform/worker_thread.h"

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

TEST(AutoResetEvent, ShowsTheWaiterWhatWasDoneBeforeTheSignal) {
    AutoResetEvent there, back;
    int number = 0; // without a lock
    std::thread other([&] {
        for (int i = 0; i < 5000; ++i) {
            ASSERT_TRUE(there.wait(20s));
            ++number;
            back.signal();
        }
    });
    for (int i = 0; i < 5000; ++i) {
        EXPECT_EQ(number++, 2 * i);
        there.signal();
        ASSERT_TRUE(back.wait(20s));
    }
    other.join();
    EXPECT_FALSE(there.wait(0ms) || back.wait(0ms));
}

TEST(AutoResetEvent, LosesNoSignalOfTwoThreadsAndKeepsOneAtMost) {
    constexpr int each = 2000;
    AutoResetEvent event;
    std::atomic<int> sent[2]{}, seen[2]{};
    std::atomic<bool> stop{false};
    const auto send = [&](int sender) {
        // Nobody goes on before it was seen, so that one lost signal stops it for good.
        for (int i = 1; i <= each; ++i) {
            sent[sender] = i;
            event.signal();
            while (seen[sender] < i)
                std::this_thread::yield();
        }
        while (!stop)
            event.signal();
    };
    std::thread first(send, 0), second(send, 1);
    while (seen[0] + seen[1] < 2 * each && event.wait(20s)) {
        seen[0] = sent[0].load();
        seen[1] = sent[1].load();
    }
    EXPECT_EQ(seen[0] + seen[1], 2 * each);
    seen[0] = seen[1] = each;
    for (int i = 0; i < each; ++i)
        EXPECT_TRUE(event.wait(20s));
    stop = true;
    first.join();
    second.join();
    event.wait(0ms);
    EXPECT_FALSE(event.wait(0ms));
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

#ifndef _WIN32
TEST(WorkerThread, RunsAStepBelowACallerInRealTimeAndElseAsBefore) {
    struct Seen {
        AutoResetEvent go{};
        int policy = -1;
        sched_param schedule{};
    } seen;
    WorkerThread worker;
    ASSERT_TRUE(worker.start(
        [](void *place) {
            auto &own = *static_cast<Seen *>(place);
            own.go.wait(20s);
            own.policy = sched_getscheduler(0);
            sched_getparam(0, &own.schedule);
        },
        &seen));
    worker.keepUpWithCaller();
    bool isGranted = false;
    std::thread([&] {
        sched_param schedule{};
        schedule.sched_priority = 30;
        isGranted = pthread_setschedparam(pthread_self(), SCHED_FIFO, &schedule) == 0;
        worker.keepUpWithCaller();
    }).join();
    seen.go.signal();
    worker.join();
    EXPECT_EQ(seen.policy, isGranted ? SCHED_FIFO : SCHED_OTHER);
    EXPECT_EQ(seen.schedule.sched_priority, isGranted ? 29 : 0);
}
#endif

} // namespace
} // namespace tonvale
