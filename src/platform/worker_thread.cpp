#include "platform/worker_thread.h"

#include <system_error>

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace tonvale {

namespace {

void raiseOwnPriority() {
#ifdef _WIN32
    SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_ABOVE_NORMAL);
#else
    // One step above normal is a nice value of -5; without the right to it the thread stays as it
    // is, and only runs later. A nice value belongs to the thread, by its kernel number.
    constexpr int aboveNormal = -5;
    static_cast<void>(setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), aboveNormal));
#endif
}

} // namespace

bool WorkerThread::start(Entry entry, void *argument) {
    try {
        thread = std::thread([entry, argument] {
            raiseOwnPriority();
            entry(argument);
        });
    } catch (const std::system_error &) {
        return false;
    }
    return true;
}

void WorkerThread::join() {
    thread.join();
}

} // namespace tonvale
