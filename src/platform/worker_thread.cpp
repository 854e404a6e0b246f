#include "platform/worker_thread.h"

#include <algorithm>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
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

void WorkerThread::keepUpWithCaller() {
#ifndef _WIN32
    constexpr int32_t callsBetweenLooks = 256;
    const std::thread::id caller = std::this_thread::get_id();
    if (caller == lastCaller && --callsToNextLook > 0)
        return;
    lastCaller = caller;
    callsToNextLook = callsBetweenLooks;

    // Asked of the system: a thread may have been raised from outside.
    const int policy = sched_getscheduler(0) & ~SCHED_RESET_ON_FORK;
    sched_param schedule{};
    const bool isRealTime =
        (policy == SCHED_FIFO || policy == SCHED_RR) && sched_getparam(0, &schedule) == 0;
    const int wanted =
        isRealTime ? std::max(schedule.sched_priority - 1, sched_get_priority_min(policy)) : 0;
    if (wanted == raisedTo)
        return;
    raisedTo = wanted;
    schedule.sched_priority = wanted;
    // Without the right to it the thread stays as it is.
    static_cast<void>(pthread_setschedparam(thread.native_handle(),
                                            isRealTime ? policy : SCHED_OTHER, &schedule));
#endif
}

void WorkerThread::join() {
    thread.join();
}

} // namespace tonvale
