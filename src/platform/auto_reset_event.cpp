#include "platform/auto_reset_event.h"

#include <algorithm>

#ifdef _WIN32
#include <new>
#else
#include <cerrno>
#endif

namespace tonvale {

namespace {

constexpr std::chrono::milliseconds longestWait = std::chrono::hours(24);

} // namespace

void AutoResetEvent::signal() {
    if (!isSet.exchange(true))
        give();
}

bool AutoResetEvent::wait(std::chrono::milliseconds limit) {
    if (!take(std::clamp(limit, std::chrono::milliseconds(0), longestWait)))
        return false;
    isSet.exchange(false);
    return true;
}

#ifdef _WIN32

AutoResetEvent::AutoResetEvent()
    : token(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    if (!token)
        throw std::bad_alloc();
}

AutoResetEvent::~AutoResetEvent() {
    CloseHandle(token);
}

void AutoResetEvent::give() {
    SetEvent(token);
}

bool AutoResetEvent::take(std::chrono::milliseconds limit) {
    return WaitForSingleObject(token, static_cast<DWORD>(limit.count())) == WAIT_OBJECT_0;
}

#else

// A semaphore, since posting it takes no lock, and enters the kernel only where a thread sleeps.

AutoResetEvent::AutoResetEvent() {
    sem_init(&token, 0, 0);
}

AutoResetEvent::~AutoResetEvent() {
    sem_destroy(&token);
}

void AutoResetEvent::give() {
    sem_post(&token);
}

bool AutoResetEvent::take(std::chrono::milliseconds limit) {
    using namespace std::chrono;
    const auto end = steady_clock::now().time_since_epoch() + limit;
    const auto whole = floor<seconds>(end);
    const timespec until{.tv_sec = whole.count(), .tv_nsec = nanoseconds(end - whole).count()};
    int failed;
    do
        failed = sem_clockwait(&token, CLOCK_MONOTONIC, &until);
    while (failed && errno == EINTR);
    return !failed;
}

#endif

} // namespace tonvale
