#pragma once

#include <thread>

namespace tonvale {

/// A thread at a priority above normal, where the system grants one. Started, stopped and joined by
/// one owner at a time.
class WorkerThread {
  public:
    using Entry = void (*)(void *argument);

    /// Answers false when the system can't start a thread.
    bool start(Entry entry, void *argument);
    /// Waits without limit for the end of the thread.
    void join();

  private:
    std::thread thread;
};

} // namespace tonvale
