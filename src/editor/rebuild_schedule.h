#pragma once

#include <windows.h>

namespace tonvale {

struct ReverbPlugin;

// From an edit in a stage's dialog to the rebuild, and to the host, by two timers of the main
// dialog: the first waits for a pause in the edits and rebuilds, the second waits until no mouse
// button holds a control and tells the host. User interface thread.

constexpr UINT_PTR housekeepingTimer = 2;
constexpr UINT_PTR rebuildTimer = 666;
constexpr UINT_PTR tellHostTimer = 667;

/// Asks the main dialog, which is the parent of `stageDialog`, for a rebuild: after 250 ms without
/// another request, or with `immediately` as soon as its messages are served. Without a parent does
/// nothing.
void scheduleRebuild(HWND stageDialog, bool immediately);

/// Rebuilds, and tells the host unless it closed the instance while the rebuild asked it for
/// something. Nothing of the instance may be touched behind this.
void rebuildAndTellHost(ReverbPlugin &plugin);

/// A request that waits no longer.
void commitRebuild(ReverbPlugin &plugin, HWND mainDialog);
/// The two timers. False for any other.
bool handleRebuildTimer(ReverbPlugin &plugin, HWND mainDialog, UINT_PTR timer);

/// What is still due when the dialog goes.
struct DueWork {
    bool rebuild;
    bool tellHost;
};
/// Takes it from the dialog, while that is whole;
DueWork takeDueWork(const ReverbPlugin &plugin, HWND mainDialog);
/// and does it, so that no edit is lost.
void finishWork(ReverbPlugin &plugin, const DueWork &due);

} // namespace tonvale
