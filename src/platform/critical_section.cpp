#include "platform/critical_section.h"

namespace tonvale {

#ifdef _WIN32

CriticalSection::CriticalSection() {
    InitializeCriticalSection(&section);
}

CriticalSection::~CriticalSection() {
    DeleteCriticalSection(&section);
}

void CriticalSection::lock() {
    EnterCriticalSection(&section);
}

bool CriticalSection::tryLock() {
    return TryEnterCriticalSection(&section) != 0;
}

void CriticalSection::unlock() {
    LeaveCriticalSection(&section);
}

#else

CriticalSection::CriticalSection() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
    pthread_mutex_init(&mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

CriticalSection::~CriticalSection() {
    pthread_mutex_destroy(&mutex);
}

void CriticalSection::lock() {
    pthread_mutex_lock(&mutex);
}

bool CriticalSection::tryLock() {
    return pthread_mutex_trylock(&mutex) == 0;
}

void CriticalSection::unlock() {
    pthread_mutex_unlock(&mutex);
}

#endif

} // namespace tonvale
