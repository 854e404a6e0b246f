#include "workbench/cli/progress_bar.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace tonvale::workbench {

namespace {

constexpr int barWidth = 40;
constexpr auto firstShown = std::chrono::milliseconds(300);
constexpr auto redrawn = std::chrono::milliseconds(100);

} // namespace

ProgressBar::ProgressBar(int64_t steps)
    : total(steps)
    , onTerminal(isatty(STDERR_FILENO) != 0)
    , next(Clock::now() + firstShown) {}

ProgressBar::~ProgressBar() {
    clear();
}

void ProgressBar::clear() {
    const std::scoped_lock held(lock);
    if (shown)
        std::fputs("\r\033[K", stderr);
    shown = false;
}

void ProgressBar::expect(int64_t steps) {
    const std::scoped_lock held(lock);
    total += steps;
}

void ProgressBar::advance(int64_t steps) {
    const std::scoped_lock held(lock);
    done += steps;
    if (!onTerminal || total < 1 || Clock::now() < next)
        return;
    const double part = std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    const auto filled = static_cast<size_t>(part * barWidth);
    const std::string bar = std::string(filled, '#') + std::string(barWidth - filled, '.');
    std::fprintf(stderr, "\r[%s] %3.0f%%", bar.c_str(), part * 100.0);
    std::fflush(stderr);
    shown = true;
    next = Clock::now() + redrawn;
}

} // namespace tonvale::workbench
