#pragma once

#include "platform/window_types.h"

#include <atomic>

namespace tonvale {

/// The handle of a window that comes and goes on the user interface thread, null while there is
/// none. Any thread may speak to it: each operation reads the handle once, since the window may go
/// meanwhile, and does nothing for a null one, which for the system would mean the caller's own
/// queue, or every window of the desktop. Without windows, all of it does nothing.
class WindowHandle {
  public:
    HWND get() const { return handle.load(std::memory_order_relaxed); }
    void set(HWND window) { handle.store(window, std::memory_order_relaxed); }
    explicit operator bool() const { return get() != nullptr; }

    /// Queues `message` for the window, without parameters.
    void post(UINT message) const;
    /// Has the control `id` of this dialog painted anew over what it shows.
    void repaintControl(int id) const;
    /// Closes the window, at once, and forgets it. On the thread of the user interface.
    void destroy();

  private:
    std::atomic<HWND> handle{nullptr};
};

} // namespace tonvale
