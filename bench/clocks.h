#pragma once

#include <ctime>

namespace tonvale::bench {

inline double clockSeconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// Of all threads.
inline double processSeconds() {
    return clockSeconds(CLOCK_PROCESS_CPUTIME_ID);
}

} // namespace tonvale::bench
