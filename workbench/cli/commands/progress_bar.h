#pragma once

#include <chrono>
#include <cstdint>

namespace tonvale::workbench {

/// A bar on standard error that shows how much of a long work is done; nothing at all where that is
/// no terminal. The bar is gone when this ends, so what is printed next stands on a clean line.
class ProgressBar {
  public:
    explicit ProgressBar(int64_t total);
    ~ProgressBar();
    ProgressBar(const ProgressBar &) = delete;
    ProgressBar &operator=(const ProgressBar &) = delete;

    void advance(int64_t steps);

  private:
    using Clock = std::chrono::steady_clock;

    int64_t total;
    int64_t done = 0;
    bool onTerminal;
    bool shown = false;
    Clock::time_point next;
};

} // namespace tonvale::workbench
