#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>

namespace tonvale::workbench {

/// A bar on standard error that shows how much of a long work is done; nothing at all where that is
/// no terminal, or nobody knows how long the work is. The bar is gone when this ends, so what is
/// printed next stands on a clean line.
class ProgressBar {
  public:
    /// Of `total` steps, and those that are expected later.
    explicit ProgressBar(int64_t total = 0);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    // Any thread.
    void expect(int64_t steps);
    void advance(int64_t steps);
    /// Makes room for a line; the bar comes back with the next step.
    void clear();

  private:
    using Clock = std::chrono::steady_clock;

    std::mutex lock;
    int64_t total;
    int64_t done = 0;
    bool onTerminal;
    bool shown = false;
    Clock::time_point next;
};

} // namespace tonvale::workbench
