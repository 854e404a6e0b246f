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
    /// For the thread that waits for this one's work, each time it hands some over: where it runs
    /// in real time, this one does too, a step below, so that no other load holds up both. Looks at
    /// a caller once and never waits. Windows has priorities of another kind, and nothing happens.
    void keepUpWithCaller();
    /// Waits without limit for the end of the thread.
    void join();

  private:
    std::thread thread;
    std::thread::id lastCaller;
};

} // namespace tonvale
