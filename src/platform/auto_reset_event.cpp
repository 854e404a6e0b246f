#include "platform/auto_reset_event.h"

namespace tonvale {

void AutoResetEvent::signal() {
    {
        std::scoped_lock scope(lock);
        isSet = true;
    }
    changed.notify_one();
}

bool AutoResetEvent::wait(std::chrono::milliseconds limit) {
    std::unique_lock scope(lock);
    const bool wasSet = changed.wait_for(scope, limit, [this] { return isSet; });
    isSet = false;
    return wasSet;
}

} // namespace tonvale
