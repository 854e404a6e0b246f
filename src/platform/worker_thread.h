#pragma once

#include <cstdint>
#include <thread>

namespace tonvale {

/// A thread at a priority above normal, where the system grants one. Started, stopped and joined by
/// one owner at a time.
class WorkerThread {
  public:
    using Entry = void (*)(void *argument);

    /// Answers false when the system can't start a thread.
    bool start(Entry entry, void *argument);
    /// For the thread that waits for this one's work, each time it hands some over: while it runs
    /// in real time, this one does too, a step below, so that no other load holds up both. It looks
    /// at each new caller, and now and then again, since hosts raise a thread, or lower it,
    /// whenever they like. Windows has priorities of another kind, and nothing happens.
    void keepUpWithCaller();
    /// Waits without limit for the end of the thread.
    void join();

  private:
    std::thread thread;
    // The caller's.
    std::thread::id lastCaller;
    int32_t callsToNextLook = 0;
    int32_t raisedTo = 0; ///< priority in real time, 0 for none
};

} // namespace tonvale
