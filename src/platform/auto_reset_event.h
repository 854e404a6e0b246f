#pragma once

#include <atomic>
#include <chrono>

#ifdef _WIN32
#include <windows.h>
#else
#include <semaphore.h>
#endif

namespace tonvale {

/// An event that one waiter takes: signal() sets it, a wait that finds it set clears it. It starts
/// unset. Any thread. What a thread did before signal() is seen by the wait that answers it.
class AutoResetEvent {
  public:
    /// Throws std::bad_alloc when the system has no event left.
    AutoResetEvent();
    ~AutoResetEvent();
    AutoResetEvent(const AutoResetEvent &) = delete;
    AutoResetEvent &operator=(const AutoResetEvent &) = delete;

    /// Never waits. One exchange while the event is set already; it calls the system only to wake
    /// a waiter.
    void signal();
    /// True when the event was set within `limit`, a day at most.
    bool wait(std::chrono::milliseconds limit);

  private:
    void give();
    bool take(std::chrono::milliseconds limit);

    // There is one token where isSet is true, less the moment between a take and the clearing of
    // isSet. A signal in that moment needs none, since its waiter is just about to answer it.
    std::atomic<bool> isSet{false};
#ifdef _WIN32
    HANDLE token;
#else
    sem_t token;
#endif
};

} // namespace tonvale
