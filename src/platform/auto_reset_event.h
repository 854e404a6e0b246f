#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace tonvale {

/// An event that one waiter takes: signal() sets it, a wait that finds it set clears it. It starts
/// unset. Any thread; signal() never waits longer than for a waiter's few instructions.
class AutoResetEvent {
  public:
    void signal();
    /// True when the event was set within `limit`.
    bool wait(std::chrono::milliseconds limit);

  private:
    std::mutex lock;
    std::condition_variable changed;
    bool isSet = false;
};

} // namespace tonvale
