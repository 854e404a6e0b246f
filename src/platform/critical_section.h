#pragma once

#include <mutex>

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace tonvale {

/// A recursive lock. Natively a thread of low priority that holds it is raised to that of a waiter,
/// so that the audio thread never waits for a thread that isn't scheduled. Works with
/// std::scoped_lock.
class CriticalSection {
  public:
    CriticalSection();
    ~CriticalSection();
    CriticalSection(const CriticalSection &) = delete;
    CriticalSection &operator=(const CriticalSection &) = delete;

    void lock();
    /// Answers false where another thread is inside.
    bool tryLock();
    void unlock();

  private:
#ifdef _WIN32
    CRITICAL_SECTION section;
#else
    pthread_mutex_t mutex;
#endif
};

using CriticalScope = std::scoped_lock<CriticalSection>;

} // namespace tonvale
