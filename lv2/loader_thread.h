#pragma once

#include "lv2/signal_mask.h"
#include "platform/auto_reset_event.h"

#include <atomic>
#include <functional>
#include <thread>

namespace tonvale::lv2 {

/// A thread that works whenever it is woken, for hosts that lend none.
class LoaderThread {
  public:
    /// Throws where the system has no thread left.
    explicit LoaderThread(std::function<void()> job)
        : work(std::move(job)) {
        const SignalsBlocked signalsBlocked;
        thread = std::thread([this] { run(); });
    }
    ~LoaderThread() {
        stops = true;
        event.signal();
        thread.join();
    }
    LoaderThread(const LoaderThread &) = delete;
    LoaderThread &operator=(const LoaderThread &) = delete;

    /// Never waits.
    void wake() { event.signal(); }

  private:
    void run() {
        while (!stops) {
            if (event.wait(std::chrono::hours(24)) && !stops)
                work();
        }
    }

    const std::function<void()> work;
    AutoResetEvent event;
    std::atomic<bool> stops{false};
    std::thread thread;
};

} // namespace tonvale::lv2
