#include "platform/auto_reset_event.h"
#include "platform/critical_section.h"
#include "platform/flush_to_zero.h"
#include "platform/worker_thread.h"

#include <atomic>
#include <filesystem>
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
TEST(WorkerThread, RunsAStepBelowACallerInRealTimeForAsLongAsThatIs) {
    AutoResetEvent end;
    WorkerThread worker;
    ASSERT_TRUE(
        worker.start([](void *event) { static_cast<AutoResetEvent *>(event)->wait(20s); }, &end));
    // The worker is the only other thread.
    const auto priority = [] {
        int found = -1;
        for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
            const int id = std::stoi(task.path().filename().string());
            sched_param schedule{};
            if (id != getpid() && id != gettid() && sched_getparam(id, &schedule) == 0)
                found = std::max(found, schedule.sched_priority);
        }
        return found;
    };
    worker.keepUpWithCaller();
    EXPECT_EQ(priority(), 0);
    std::thread([&] {
        const auto change = [&](int policy, int to) {
            sched_param schedule{};
            schedule.sched_priority = to;
            const bool granted = pthread_setschedparam(pthread_self(), policy, &schedule) == 0;
            for (int call = 0; call < 1000; ++call)
                worker.keepUpWithCaller();
            return granted;
        };
        EXPECT_EQ(priority(), 0);
        const bool granted = change(SCHED_FIFO, 30);
        EXPECT_EQ(priority(), granted ? 29 : 0);
        change(SCHED_OTHER, 0);
        EXPECT_EQ(priority(), 0);
    }).join();
    end.signal();
    worker.join();
}
#endif

} // namespace
} // namespace tonvale
